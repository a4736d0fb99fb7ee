// Makes the desktop session of this process.
#pragma once

#include <memory>

#include "base/Environment.h"
#include "platform/DesktopSession.h"
#include "platform/DisplayServers.h"

namespace vantora {

// The implementation for the window system that windowSystemOf() chooses. `clipboard` must outlive the session. Main
// thread; may wait for a display server that hangs, see displayServers().
std::unique_ptr<DesktopSession> makeDesktopSession(const Environment& environment, Clipboard& clipboard,
                                                   const DisplayServers& servers = displayServers());

}  // namespace vantora
