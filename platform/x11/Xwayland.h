// The X server of a Wayland desktop.
#pragma once

#include <QStringView>

#include "platform/x11/X11Connection.h"

namespace vantora {

// Whether `server`, which is open, is Xwayland: an X server that draws only X programs' windows, as pictures for a
// Wayland desktop. Its own picture of the screen is black, and what is typed through it reaches X programs alone. The
// server itself is asked: one of 23.1 and later has an extension for this, an older one gives its outputs a name of
// their own. One that shows all of its windows within one window of the desktop says the same, and counts as well. Some
// round trips; false when the server falls silent meanwhile.
bool isXwayland(X11Connection& server);

// Why nothing is captured there, and nothing posted, in words for the log.
inline constexpr QStringView kXwaylandShowsNothing =
    u"this is a Wayland desktop, whose X server (Xwayland) does not show the screen; log in to an X11 session instead";
inline constexpr QStringView kXwaylandTakesNothing =
    u"this is a Wayland desktop, whose X server (Xwayland) passes no input on to it; log in to an X11 session instead";

}  // namespace vantora
