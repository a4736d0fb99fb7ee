#include <gtest/gtest.h>

#include <QClipboard>
#include <QKeyEvent>
#include <chrono>
#include <ctime>

#include "main/ui/HostStatusBar.h"
#include "main/ui/UserInterface.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/FakeSessionControl.h"
#include "tests/fakes/PrintQt.h"
#include "tests/fakes/RecordedLog.h"
#include "tests/ui/support/WidgetsApplication.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// No bus and no tray: the rest must work without them.
class HostStatusBarTest : public testui::UiTest {
 protected:
  void setState(const std::function<void(HostState&)>& with) { session_.change(with); }
  QString clipboard() { return QGuiApplication::clipboard()->text(); }
  QWidget* panel() {
    for (QWidget* window : QApplication::topLevelWidgets()) {
      if (window->windowTitle() == u"Vantora Host"_s && window->isVisible()) return window;
    }
    return nullptr;
  }

  fakes::RecordedLog log_;
  fakes::FakeSessionControl session_;
  UserInterface interface_{session_, InfoDictionary(), QDBusConnection(u"nowhere"_s)};
  HostStatusBar& bar_ = interface_.statusBar();
};

TEST_F(HostStatusBarTest, startsAndStopsSharing) {
  bar_.perform(MenuAction::toggleSharing);
  setState([](HostState& state) { state.sharingEnabled = true; });
  bar_.perform(MenuAction::toggleSharing);
  EXPECT_EQ(session_.taken(), (QStringList{u"startSharing"_s, u"stopSharing"_s}));
}

TEST_F(HostStatusBarTest, copiesRoomAndPIN) {
  bar_.perform(MenuAction::copyRoom);
  EXPECT_EQ(clipboard(), u"desk-7"_s);
  bar_.perform(MenuAction::copyPIN);
  EXPECT_EQ(clipboard(), u"000042"_s);
  EXPECT_TRUE(session_.taken().isEmpty());
}

TEST_F(HostStatusBarTest, asksForANewPINUnlessItIsLocked) {
  bar_.perform(MenuAction::regenPIN);
  EXPECT_EQ(session_.taken(), QStringList{u"regeneratePIN"_s});
  setState([](HostState& state) { state.pinLockedByEnv = true; });
  bar_.perform(MenuAction::regenPIN);
  EXPECT_TRUE(session_.taken().isEmpty());
}

TEST_F(HostStatusBarTest, togglesPermissions) {
  bar_.perform(MenuAction::toggleAllowControl);
  bar_.perform(MenuAction::toggleAllowFiles);
  setState([](HostState& state) { state.allowRemoteControl = state.allowIncomingFiles = false; });
  bar_.perform(MenuAction::toggleAllowControl);
  bar_.perform(MenuAction::toggleAllowFiles);
  EXPECT_EQ(session_.taken(), (QStringList{u"control 0"_s, u"files 0"_s, u"control 1"_s, u"files 1"_s}));
}

TEST_F(HostStatusBarTest, endsTheProgram) {
  bar_.perform(MenuAction::quit);
  EXPECT_EQ(session_.taken(), QStringList{u"quit"_s});
}

TEST_F(HostStatusBarTest, doesNothingForALabel) {
  bar_.perform(MenuAction::none);
  EXPECT_TRUE(session_.taken().isEmpty());
}

TEST_F(HostStatusBarTest, hasItsChatWindowHiddenFromTheStart) {
  EXPECT_FALSE(bar_.chatWindow().isVisible());
  bar_.perform(MenuAction::showChatWindow);
  EXPECT_TRUE(bar_.chatWindow().isVisible());
}

TEST_F(HostStatusBarTest, logsSenderAndLength) {
  interface_.presentChat(u"viewer"_s, u"ab\U0001F468\u200D\U0001F469\u200D\U0001F467"_s, 0);
  EXPECT_EQ(log_.lines(), QStringList{u"[chat-ui] presentChat from=viewer len=3"_s});
}

TEST_F(HostStatusBarTest, countsMessagesWhileTheWindowIsHidden) {
  interface_.presentChat(u"viewer"_s, u"one"_s, 0);
  interface_.presentChat(u"viewer"_s, u"two"_s, 0);
  EXPECT_EQ(bar_.unreadChatCount(), 2);
  EXPECT_TRUE(bar_.chatWindow().transcript().text().contains(u"VIEWER: two"_s));
  bar_.showChatWindow();
  EXPECT_EQ(bar_.unreadChatCount(), 0);
}

TEST_F(HostStatusBarTest, countsNothingWhileTheWindowIsOnScreen) {
  bar_.showChatWindow();
  interface_.presentChat(u"viewer"_s, u"one"_s, 0);
  EXPECT_EQ(bar_.unreadChatCount(), 0);
  bar_.chatWindow().close();
  interface_.presentChat(u"viewer"_s, u"two"_s, 0);
  EXPECT_EQ(bar_.unreadChatCount(), 1);
}

// CPU time of this thread, independent of other load on the machine.
std::chrono::nanoseconds ownTime() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

// Typing continues between the pieces of the burst.
TEST_F(HostStatusBarTest, staysResponsiveInABurstOfTenThousandMessages) {
  bar_.showChatWindow();
  HostChatWindow& window = bar_.chatWindow();
  testloop::drain();
  QString typed;
  for (int sent = 0; sent < 10000;) {
    const auto start = ownTime();
    // As many as arrive together in one piece from the session.
    for (int i = 0; i < 50; ++i, ++sent) {
      interface_.presentChat(u"viewer"_s, u"Message %1 of the burst, see https://example.com/page/%1"_s.arg(sent), 0);
    }
    const QString letter(QChar(u'a' + (sent / 50) % 26));
    QCoreApplication::postEvent(&window.input(),
                                new QKeyEvent(QEvent::KeyPress, Qt::Key_unknown, Qt::NoModifier, letter));
    QCoreApplication::processEvents();
    typed += letter;
    ASSERT_EQ(window.input().text(), typed);
    // About ten times the usual duration; the benchmark measures it.
    ASSERT_LT(ownTime() - start, std::chrono::seconds(1)) << sent;
  }
  EXPECT_TRUE(window.transcript().text().contains(u"Message 9999 of the burst"_s));
  EXPECT_LE(window.transcript().length(), 200000);
}

TEST_F(HostStatusBarTest, countsAMinimisedWindowAsHidden) {
  bar_.showChatWindow();
  bar_.chatWindow().setWindowState(Qt::WindowMinimized);
  interface_.presentChat(u"viewer"_s, u"one"_s, 0);
  EXPECT_EQ(bar_.unreadChatCount(), 1);
  bar_.showChatWindow();
  EXPECT_FALSE(bar_.chatWindow().isMinimized());
  EXPECT_EQ(bar_.unreadChatCount(), 0);
}

TEST_F(HostStatusBarTest, clearsTheCountWhenAMessageArrivesInSight) {
  bar_.showChatWindow();
  bar_.bumpUnread();
  EXPECT_EQ(bar_.unreadChatCount(), 1);
  interface_.presentChat(u"viewer"_s, u"one"_s, 0);
  EXPECT_EQ(bar_.unreadChatCount(), 0);
}

TEST_F(HostStatusBarTest, continuesFromTheCountOfAnEarlierInterface) {
  bar_.setUnread(3);
  interface_.presentChat(u"viewer"_s, u"four"_s, 0);
  EXPECT_EQ(bar_.unreadChatCount(), 4);
}

TEST_F(HostStatusBarTest, reportsWhenUnseenMessagesBecomeVisible) {
  int read = 0;
  bar_.setReadHandler([&] { ++read; });
  bar_.showChatWindow();
  interface_.presentChat(u"viewer"_s, u"one"_s, 0);
  EXPECT_EQ(read, 0);
  bar_.chatWindow().close();
  interface_.presentChat(u"viewer"_s, u"two"_s, 0);
  bar_.showChatWindow();
  EXPECT_EQ(read, 1);
}

TEST_F(HostStatusBarTest, raisesChatAndPanelOnASecondLaunchWithoutATray) {
  EXPECT_EQ(panel(), nullptr);
  interface_.handleReopen();
  EXPECT_TRUE(bar_.chatWindow().isVisible());
  ASSERT_NE(panel(), nullptr);
}

TEST_F(HostStatusBarTest, keepsAnOpenPanelUpToDate) {
  interface_.handleReopen();
  ASSERT_NE(panel(), nullptr);
  setState([](HostState& state) { state.iceState = IceState::failed; });
  bool found = false;
  for (const QLabel* label : panel()->findChildren<QLabel*>()) found |= label->text() == u"Connection: failed"_s;
  EXPECT_TRUE(found);
}

TEST_F(HostStatusBarTest, staysSilentWithoutAnythingToShowItselfIn) {
  interface_.deliverHostNotification(u"Chat from A"_s, u"x"_s);
  testloop::drain();
  EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(HostStatusBarTest, releasesTheSessionWhenItEnds) {
  fakes::FakeSessionControl other;
  { UserInterface shortLived(other, InfoDictionary(), QDBusConnection(u"nowhere"_s)); }
  EXPECT_FALSE(other.hasChangedHandler());
}

}  // namespace
}  // namespace vantora
