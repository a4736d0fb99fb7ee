// Everything that the local user sees of the program.
#pragma once

#include <QDBusConnection>
#include <memory>

#include "base/InfoDictionary.h"
#include "main/ui/DesktopAppearance.h"
#include "main/ui/HostStatusBar.h"
#include "main/ui/PaletteObserver.h"
#include "main/ui/SessionControl.h"
#include "main/ui/UserNotifications.h"
#include "main/ui/panel/PanelFallback.h"

namespace vantora {

// Needs a QApplication. Sets the changed-handler of `session`. Thread: main of the interface's process. Owner: its
// entry point, until the process ends.
class UserInterface {
 public:
  // `session` must outlive this object. Nothing here blocks on `bus` or on a service.
  UserInterface(SessionControl& session, const InfoDictionary& info,
                const QDBusConnection& bus = QDBusConnection::sessionBus());
  ~UserInterface();
  UserInterface(const UserInterface&) = delete;
  UserInterface& operator=(const UserInterface&) = delete;

  // A chat message or reaction for the chat window; `ts` is in milliseconds since 1970.
  void presentChat(const QString& from, const QString& text, qint64 ts) { statusBar_.presentChat(from, text, ts); }
  // A notification of the desktop.
  void deliverHostNotification(const QString& title, const QString& body) {
    notifications_.deliverHostNotification(title, body);
  }
  // The program was started again: brings the chat window to the front and, where no tray shows the menu, also the
  // menu's window counterpart.
  void handleReopen();

  // Shows the menu's window counterpart if no tray takes the item within some seconds. `done` is called when that is
  // decided, whether the window is shown or not. Call at most once.
  void showPanelUnlessTray(std::function<void()> done, PanelFallback::Times times = {});

  HostStatusBar& statusBar() { return statusBar_; }

 private:
  void paletteChanged();

  SessionControl& session_;
  DesktopAppearance appearance_;
  HostStatusBar statusBar_;
  UserNotifications notifications_;
  PaletteObserver palette_{[this] { paletteChanged(); }};
  std::unique_ptr<PanelFallback> panelFallback_;
};

}  // namespace vantora
