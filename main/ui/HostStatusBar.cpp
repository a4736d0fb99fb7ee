#include "main/ui/HostStatusBar.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QTimer>

#include "base/Characters.h"
#include "base/Log.h"
#include "main/ui/StatusIcon.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

HostStatusBar::HostStatusBar(SessionControl& session, const QDBusConnection& bus, HostChatWindow::OpenUrl openUrl)
    : session_(session),
      openUrl_(std::move(openUrl)),
      badge_(bus),
      tray_(bus, {.triggered = [this](MenuAction action) { perform(action); }, .activated = [this] { showPanel(); }}) {
  updateButton();
  rebuildMenu();
  chatWindow();
}

HostChatWindow& HostStatusBar::chatWindow() {
  if (!chatWindow_) {
    chatWindow_ = std::make_unique<HostChatWindow>(session_, openUrl_);
    chatWindow_->setShownHandler([this] { clearUnread(); });
  }
  return *chatWindow_;
}

void HostStatusBar::refresh() {
  rebuildMenu();
  updateButton();
}

void HostStatusBar::updateButton() {
  const HostState& state = session_.state();
  tray_.setAppearance({.fill = statusColor(state.iceState),
                       .outline = iconOutline(),
                       .unread = unreadChatCount_ >= 1,
                       .toolTip = statusToolTip(state)});
}

void HostStatusBar::rebuildMenu() {
  tray_.setRows(menuRows(session_.state()));
  if (panel_) panel_->setState(session_.state(), unreadChatCount_);
}

void HostStatusBar::presentChat(const QString& from, const QString& text, qint64 ts) {
  logLine(u"[chat-ui] presentChat from="_s + from + u" len="_s + QString::number(characterCount(text)));
  HostChatWindow& window = chatWindow();
  window.append(from, text, ts);
  if (window.isVisible() && !window.isMinimized()) {
    clearUnread();
  } else {
    bumpUnread();
  }
}

void HostStatusBar::bumpUnread() { setUnread(unreadChatCount_ + 1); }

void HostStatusBar::clearUnread() {
  if (unreadChatCount_ == 0) return;
  setUnread(0);
  if (readHandler_) readHandler_();
}

void HostStatusBar::setUnread(qint64 count) {
  unreadChatCount_ = count;
  showBadge();
  updateButton();
  rebuildMenu();
}

void HostStatusBar::showBadge() {
  // Of many messages that arrive together only the last count is sent to the desktop.
  if (std::exchange(badgePending_, true)) return;
  QTimer::singleShot(0, &context_, [this] {
    badgePending_ = false;
    badge_.setCount(unreadChatCount_);
  });
}

void HostStatusBar::showChatWindow() {
  chatWindow().present();
  clearUnread();
}

HostPanel& HostStatusBar::panel() {
  if (!panel_) panel_ = std::make_unique<HostPanel>([this](MenuAction action) { perform(action); });
  panel_->setState(session_.state(), unreadChatCount_);
  return *panel_;
}

void HostStatusBar::showPanel() { panel().present(); }

void HostStatusBar::showPanelQuietly() { panel().presentQuietly(); }

void HostStatusBar::perform(MenuAction action) {
  switch (action) {
    case MenuAction::toggleSharing:
      return toggleSharing();
    case MenuAction::copyRoom:
      return copyRoomAction();
    case MenuAction::copyPIN:
      return copyPINAction();
    case MenuAction::regenPIN:
      return regenPINAction();
    case MenuAction::toggleAllowControl:
      return toggleAllowControl();
    case MenuAction::toggleAllowFiles:
      return toggleAllowFiles();
    case MenuAction::showChatWindow:
      return showChatWindow();
    case MenuAction::quit:
      return quitAction();
    case MenuAction::none:
      return;
  }
}

void HostStatusBar::toggleSharing() {
  if (session_.state().sharingEnabled) {
    session_.stopSharing();
  } else {
    session_.startSharing();
  }
  rebuildMenu();
}

void HostStatusBar::copyRoomAction() { QGuiApplication::clipboard()->setText(session_.state().roomId); }

void HostStatusBar::copyPINAction() { QGuiApplication::clipboard()->setText(session_.state().controlPIN); }

void HostStatusBar::regenPINAction() {
  if (session_.state().pinLockedByEnv) return;
  session_.regeneratePIN();
  rebuildMenu();
}

void HostStatusBar::toggleAllowControl() {
  session_.setAllowRemoteControl(!session_.state().allowRemoteControl);
  rebuildMenu();
}

void HostStatusBar::toggleAllowFiles() {
  session_.setFileReceiveAllowed(!session_.state().allowIncomingFiles);
  rebuildMenu();
}

void HostStatusBar::quitAction() { session_.quit(); }

}  // namespace vantora
