#include "platform/WindowFront.h"

#include "platform/x11/X11WindowFront.h"

namespace vantora {

void insistOnFront(std::uint64_t window, const QString& windowSystem) {
  if (windowSystem == QStringLiteral("xcb")) activateX11Window(static_cast<std::uint32_t>(window), {});
}

}  // namespace vantora
