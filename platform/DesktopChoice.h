// Choice of the desktop implementation for this process.
#pragma once

#include <memory>

#include "base/Environment.h"
#include "platform/DesktopSession.h"

namespace vantora {

// The window system of this desktop session.
enum class WindowSystem {
  none,     // Nothing: a console, a service.
  x11,      // The X server that DISPLAY names; it need not run yet.
  wayland,  // A compositor. DISPLAY, if set, names its Xwayland.
};

// From XDG_SESSION_TYPE when it is set and not "tty", else from the servers that the environment names. Pure.
WindowSystem windowSystemOf(const Environment& environment);

// The only place that decides which implementation serves `environment`. A Wayland compositor is reached through its
// Xwayland for now; the parts that do not work there detect Xwayland at every use and report it. `clipboard` must
// outlive the session.
std::unique_ptr<DesktopSession> makeDesktopSession(const Environment& environment, Clipboard& clipboard);

}  // namespace vantora
