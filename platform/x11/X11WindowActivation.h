// Requests to the window manager as from a panel.
#pragma once

#include <QString>
#include <cstdint>

namespace vantora {

// Activates `window` by the rules for panels (_NET_ACTIVE_WINDOW, source 2), which window managers follow without
// comparing timestamps of user input. `displayName` as for X11Connection. No effect without a server.
void activateX11Window(std::uint32_t window, const QString& displayName);
// Puts `window` above the others by the same rules (_NET_RESTACK_WINDOW) without moving the keyboard focus.
void raiseX11Window(std::uint32_t window, const QString& displayName);
// Whether there is a window manager. False without a server.
bool hasX11WindowManager(const QString& displayName);

}  // namespace vantora
