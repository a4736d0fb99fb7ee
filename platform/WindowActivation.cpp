#include "platform/WindowActivation.h"

#include "platform/x11/X11WindowActivation.h"

namespace vantora {

void activateWindow(std::uint64_t window, const QString& windowSystem) {
  if (windowSystem == QStringLiteral("xcb")) activateX11Window(static_cast<std::uint32_t>(window), {});
}

void raiseWindow(std::uint64_t window, const QString& windowSystem) {
  if (windowSystem == QStringLiteral("xcb")) raiseX11Window(static_cast<std::uint32_t>(window), {});
}

bool windowsAreManaged(const QString& windowSystem) {
  return windowSystem != QStringLiteral("xcb") || hasX11WindowManager({});
}

}  // namespace vantora
