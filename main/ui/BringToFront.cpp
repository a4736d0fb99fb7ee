#include "main/ui/BringToFront.h"

#include <QGuiApplication>
#include <QWidget>

#include "platform/WindowActivation.h"

namespace vantora {

void bringToFront(QWidget& window) {
  if (window.isMinimized()) window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
  window.show();
  window.raise();
  window.activateWindow();
  activateWindow(window.winId(), QGuiApplication::platformName());
}

void showInFront(QWidget& window) {
  window.setAttribute(Qt::WA_ShowWithoutActivating, true);
  window.show();
  window.setAttribute(Qt::WA_ShowWithoutActivating, false);
  window.raise();
  raiseWindow(window.winId(), QGuiApplication::platformName());
}

void keepActivationToken(const QString& token) {
  if (QGuiApplication::platformName().startsWith(QStringLiteral("wayland"))) {
    qputenv("XDG_ACTIVATION_TOKEN", token.toUtf8());
  }
}

}  // namespace vantora
