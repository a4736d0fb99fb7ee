#include "main/ui/UserInterface.h"

#include <QApplication>

#include "main/ui/StatusIcon.h"
#include "platform/WindowFront.h"

namespace vantora {

UserInterface::UserInterface(SessionControl& face, const InfoDictionary& info, const QDBusConnection& bus)
    : face_(face),
      appearance_(bus),
      statusBar_(face, bus),
      notifications_(bus, info, [this] { statusBar_.showChatWindow(); }) {
  QApplication::setQuitOnLastWindowClosed(false);
  QGuiApplication::setDesktopFileName(QStringLiteral("vantora-host"));
  face_.setChangedHandler([this] { statusBar_.refresh(); });
  statusBar_.refresh();
  paletteChanged();
}

UserInterface::~UserInterface() { face_.setChangedHandler({}); }

void UserInterface::paletteChanged() {
  // Windows carry the bolt at its best, whatever the connection does.
  QApplication::setWindowIcon(makeStatusIcon(statusColor(IceState::connected), iconOutline(), false));
  statusBar_.updateButton();
}

void UserInterface::handleReopen() {
  statusBar_.showChatWindow();
  if (!statusBar_.trayShown()) statusBar_.showPanel();
}

void UserInterface::showPanelUnlessTray(std::function<void()> done, PanelFallback::Times times) {
  panelFallback_ = std::make_unique<PanelFallback>(
      PanelFallback::Callbacks{.seen = [this] { return statusBar_.trayShown() || statusBar_.panelWasShown(); },
                               .trayKnown = [this] { return statusBar_.trayKnown(); },
                               .windowsManaged = [] { return windowsAreManaged(QGuiApplication::platformName()); },
                               .show = [this] { statusBar_.showPanelQuietly(); },
                               .done = std::move(done)},
      times);
}

}  // namespace vantora
