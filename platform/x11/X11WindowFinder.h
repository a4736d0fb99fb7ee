// Which window is under the pointer of an X server, and whose it is.
#pragma once

#include <QString>
#include <memory>

#include "platform/linux/atspi/PointedWindow.h"

namespace vantora {

// A connection of its own, opened at the first use. `displayName`: such as ":0".
std::unique_ptr<atspi::WindowFinder> makeX11WindowFinder(const QString& displayName);

}  // namespace vantora
