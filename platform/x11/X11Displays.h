// The monitors of an X server.
#pragma once

#include <QString>
#include <memory>

#include "platform/Displays.h"

namespace vantora {

// Displays of the X server `displayName` (empty: the DISPLAY variable), through RandR 1.5: the active monitors in the
// server's order, which is the order and the numbering (`Display::id`) of the screen capturer. Rotation is always 0:
// the bounds include the rotation of a monitor. A server without RandR 1.5 has one display, its root window. The server
// need not run yet; after a loss the next call tries to connect again. Main thread.
std::unique_ptr<Displays> makeX11Displays(const QString& displayName);

}  // namespace vantora
