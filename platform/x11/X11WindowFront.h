// Asks the window manager for the front as a panel does.
#pragma once

#include <QString>
#include <cstdint>

namespace vantora {

// Makes `window` the active one by the rules for panels (_NET_ACTIVE_WINDOW, source 2), which window managers follow
// without comparing times of input. `displayName` as for X11Connection. Nothing happens without a server.
void activateX11Window(std::uint32_t window, const QString& displayName);

}  // namespace vantora
