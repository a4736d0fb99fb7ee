// The desktop of a Wayland session, through its portals.
#pragma once

#include <functional>
#include <memory>

#include "base/Environment.h"
#include "platform/DesktopSession.h"
#include "platform/portal/pipewire/PipeWireScreenCapture.h"

namespace vantora {

// Its user is asked when a capture opens; the consent then serves captures and input until the desktop or the end of
// this object ends it. It has no displays and takes no input before. Everything is asynchronous: a portal that does not
// respond delays nothing; only the first connection to the session bus waits for it. `clipboard` must outlive it.
using PortalCaptureFactory = std::function<std::unique_ptr<ScreenCapture>(std::shared_ptr<StreamAccess>)>;
std::unique_ptr<DesktopSession> makePortalDesktop(const Environment& environment, Clipboard& clipboard,
                                                  PortalCaptureFactory makeCapture = makePipeWireScreenCapture);

}  // namespace vantora
