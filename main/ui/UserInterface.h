// Everything that the local user sees of the program.
#pragma once

#include <QDBusConnection>
#include <memory>

#include "base/InfoDictionary.h"
#include "main/ui/DesktopAppearance.h"
#include "main/ui/HostStatusBar.h"
#include "main/ui/PaletteWatch.h"
#include "main/ui/SessionControl.h"
#include "main/ui/UserNotifications.h"
#include "main/ui/panel/PanelFallback.h"

namespace vantora {

// Needs a QApplication. Takes the changed-handler of `face`. Thread: main of the interface's process. Owner: its entry
// point, until the process ends.
class UserInterface {
 public:
  // `face` must outlive this object. Nothing here waits for `bus` or for who is on it.
  UserInterface(SessionControl& face, const InfoDictionary& info,
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
  // The program was started once more: the chat window comes to the front, and where no tray shows the menu, its window
  // counterpart beside it.
  void handleReopen();

  // Shows the menu's window counterpart if no tray takes the item within some seconds. `done` is called once that is
  // decided, with the window or without. Once.
  void showPanelUnlessTray(std::function<void()> done, PanelFallback::Times times = {});

  HostStatusBar& statusBar() { return statusBar_; }

 private:
  void paletteChanged();

  SessionControl& face_;
  DesktopAppearance appearance_;
  HostStatusBar statusBar_;
  UserNotifications notifications_;
  PaletteWatch palette_{[this] { paletteChanged(); }};
  std::unique_ptr<PanelFallback> panelFallback_;
};

}  // namespace vantora
