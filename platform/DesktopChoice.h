// Choice of the window system for each process of the host: the only place that makes it.
#pragma once

#include <QByteArray>
#include <QString>

#include "base/Environment.h"
#include "platform/DisplayServers.h"

namespace vantora {

// The window system of a desktop session.
enum class WindowSystem {
  none,     // Nothing: a console, a service.
  x11,      // The X server that DISPLAY names; it need not run yet.
  wayland,  // A compositor. DISPLAY, if set, names its Xwayland.
};

// Absolute path of the compositor's socket; empty when the environment names none.
QString compositorSocket(const Environment& environment);

// The window system that serves `environment`. VANTORA_WINDOW_SYSTEM ("x11", "wayland" or "none", in any case of
// letters; anything else is ignored) decides by itself, and so does XDG_SESSION_TYPE "x11" with a DISPLAY. Otherwise
// the servers do that reply now, since variables outlive their session and a native X server may run within a Wayland
// desktop: a native X server, then the compositor. If none replies: the type of the session, then DISPLAY, whose server
// may start later, then WAYLAND_DISPLAY.
WindowSystem windowSystemOf(const Environment& environment, const DisplayServers& servers);

// The platforms for the windows of this program, as the toolkit is told them: a list that is tried in its order.
struct ToolkitPlatforms {
  QByteArray list;
  // The list shows nothing for now: the server that DISPLAY names does not reply yet.
  bool awaitsDisplay = false;
};

// Windows and the clipboard use X11 also through Xwayland, where it works and allows more than Wayland does. Each list
// ends with a platform that needs no display, for the toolkit ends the process when it can use none.
ToolkitPlatforms toolkitPlatforms(const Environment& environment, const DisplayServers& servers);

}  // namespace vantora
