// The X server of a Wayland desktop.
#pragma once

#include <QStringView>

#include "platform/x11/X11Connection.h"

namespace vantora {

// Whether `server`, which is open, is Xwayland: an X server that draws only the windows of X programs, for a Wayland
// desktop. Its own screen contents are black, and input through it reaches X programs only. Detected from the server
// itself: version 23.1 and later has an extension for this, an older one uses characteristic output names. A server
// that shows all its windows within one window of the desktop reports the same, and counts as well. Some round trips;
// false when the server becomes silent meanwhile.
bool isXwayland(X11Connection& server);

// Why nothing is captured there, and no input posted, for the log.
inline constexpr QStringView kXwaylandShowsNothing =
    u"this is a Wayland desktop, whose X server (Xwayland) does not show the screen; log in to an X11 session instead";
inline constexpr QStringView kXwaylandTakesNothing =
    u"this is a Wayland desktop, whose X server (Xwayland) passes no input on to it; log in to an X11 session instead";

}  // namespace vantora
