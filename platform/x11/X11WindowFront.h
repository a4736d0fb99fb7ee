// Speaks to the window manager as a panel does.
#pragma once

#include <QString>
#include <cstdint>

namespace vantora {

// Makes `window` the active one by the rules for panels (_NET_ACTIVE_WINDOW, source 2), which window managers follow
// without comparing times of input. `displayName` as for X11Connection. Nothing happens without a server.
void activateX11Window(std::uint32_t window, const QString& displayName);
// Puts `window` above the others by the same rules (_NET_RESTACK_WINDOW) and leaves the keyboard where it is.
void raiseX11Window(std::uint32_t window, const QString& displayName);
// Whether there is a window manager. False without a server.
bool hasX11WindowManager(const QString& displayName);

}  // namespace vantora
