// The desktop of an X server.
#pragma once

#include <memory>

#include "base/Environment.h"
#include "platform/DesktopSession.h"

namespace vantora {

// Ready at once, even when the server `displayName` (such as ":0") does not reply yet: each part reports its own
// availability. `clipboard` must outlive it.
std::unique_ptr<DesktopSession> makeX11Desktop(const Environment& environment, const QString& displayName,
                                               Clipboard& clipboard);

}  // namespace vantora
