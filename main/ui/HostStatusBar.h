// The host's user interface: the item in the tray with its menu, and its windows.
#pragma once

#include <QDBusConnection>
#include <QObject>
#include <functional>
#include <memory>

#include "main/ui/LauncherBadge.h"
#include "main/ui/SessionControl.h"
#include "main/ui/chat/HostChatWindow.h"
#include "main/ui/panel/HostPanel.h"
#include "main/ui/tray/Tray.h"

namespace vantora {

// Thread: main (of the interface). Owner: UserInterface, for the life of the process.
class HostStatusBar {
 public:
  // `session` must outlive this object. An empty `openUrl` means the user's browser.
  HostStatusBar(SessionControl& session, const QDBusConnection& bus, HostChatWindow::OpenUrl openUrl = {});
  HostStatusBar(const HostStatusBar&) = delete;
  HostStatusBar& operator=(const HostStatusBar&) = delete;

  // Something that the menu shows has changed.
  void refresh();
  // Icon and tooltip.
  void updateButton();
  // Rebuilds all rows.
  void rebuildMenu();

  // A chat message or reaction arrived; `ts` is in milliseconds since 1970.
  void presentChat(const QString& from, const QString& text, qint64 ts);
  // Counts one more unseen message.
  void bumpUnread();
  // Continues from `count`, 0 or more: the count that an earlier interface of the same session showed.
  void setUnread(qint64 count);
  // Called whenever unseen messages have become visible.
  void setReadHandler(std::function<void()> handler) { readHandler_ = std::move(handler); }

  // Brings the chat window to the front, ready for typing; everything counts as read.
  void showChatWindow();
  // Brings the menu's window counterpart to the front.
  void showPanel();
  // Shows it without taking the keyboard focus.
  void showPanelQuietly();

  // What a row of the menu does.
  void perform(MenuAction action);
  void toggleSharing();
  void copyRoomAction();
  void copyPINAction();
  void regenPINAction();
  void toggleAllowControl();
  void toggleAllowFiles();
  void quitAction();

  qint64 unreadChatCount() const { return unreadChatCount_; }
  // Whether the item can be seen in a tray.
  bool trayShown() const { return tray_.shown(); }
  // Whether trayShown() is known yet; see Tray.
  bool trayKnown() const { return tray_.known(); }
  // Whether the menu's window counterpart has been shown, though it may be closed by now.
  bool panelWasShown() const { return panel_ != nullptr; }
  HostChatWindow& chatWindow();

 private:
  HostPanel& panel();
  void clearUnread();
  void showBadge();

  SessionControl& session_;
  const HostChatWindow::OpenUrl openUrl_;
  qint64 unreadChatCount_ = 0;
  std::function<void()> readHandler_;
  bool badgePending_ = false;
  LauncherBadge badge_;
  Tray tray_;
  std::unique_ptr<HostChatWindow> chatWindow_;
  std::unique_ptr<HostPanel> panel_;
  // Destroyed first: its timers use the members above.
  QObject context_;
};

}  // namespace vantora
