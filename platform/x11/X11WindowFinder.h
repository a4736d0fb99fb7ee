// The window under the pointer of an X server, and its process.
#pragma once

#include <QString>
#include <memory>

#include "platform/WindowFinder.h"

namespace vantora {

// Uses a separate connection, opened at the first use. `displayName`: such as ":0".
std::unique_ptr<WindowFinder> makeX11WindowFinder(const QString& displayName);

}  // namespace vantora
