// Which implementation of the desktop this process gets.
#pragma once

#include <memory>

#include "base/Environment.h"
#include "platform/DesktopSession.h"

namespace vantora {

// What shows the desktop of this session.
enum class WindowSystem {
  none,     // Nothing: a console, a service.
  x11,      // The X server that DISPLAY names; it need not answer yet.
  wayland,  // A compositor. DISPLAY names its Xwayland, if anything.
};

// From the type of the session (XDG_SESSION_TYPE) where it says more than "tty" or nothing, else from the servers that
// are named. Pure.
WindowSystem windowSystemOf(const Environment& environment);

// The one place where it is decided which implementation serves `environment`. A compositor is reached through its
// Xwayland for now, which says by itself what it cannot do: the X server is asked at every use whether it is one.
// `clipboard` must outlive the session.
std::unique_ptr<DesktopSession> makeDesktopSession(const Environment& environment, Clipboard& clipboard);

}  // namespace vantora
