#include "main/ui/UserInterface.h"

#include <QApplication>

#include "main/ui/StatusIcon.h"
#include "platform/WindowActivation.h"

namespace vantora {

UserInterface::UserInterface(SessionControl& session, const InfoDictionary& info, const QDBusConnection& bus)
    : session_(session),
      appearance_(bus),
      statusBar_(session, bus),
      notifications_(bus, info, [this] { statusBar_.showChatWindow(); }) {
  QApplication::setQuitOnLastWindowClosed(false);
  QGuiApplication::setDesktopFileName(QStringLiteral("vantora-host"));
  session_.setChangedHandler([this] { statusBar_.refresh(); });
  statusBar_.refresh();
  paletteChanged();
}

UserInterface::~UserInterface() { session_.setChangedHandler({}); }

void UserInterface::paletteChanged() {
  // The window icon shows the connected state, whatever the connection does.
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
