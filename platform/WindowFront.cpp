#include "platform/WindowFront.h"

#include "platform/x11/X11WindowFront.h"

namespace vantora {

void forceToFront(std::uint64_t window, const QString& windowSystem) {
  if (windowSystem == QStringLiteral("xcb")) activateX11Window(static_cast<std::uint32_t>(window), {});
}

void forceToTop(std::uint64_t window, const QString& windowSystem) {
  if (windowSystem == QStringLiteral("xcb")) raiseX11Window(static_cast<std::uint32_t>(window), {});
}

bool windowsAreManaged(const QString& windowSystem) {
  return windowSystem != QStringLiteral("xcb") || hasX11WindowManager({});
}

}  // namespace vantora
