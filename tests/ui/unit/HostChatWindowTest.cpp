#include <gtest/gtest.h>

#include <QCloseEvent>
#include <QKeyEvent>

#include "main/ui/chat/HostChatWindow.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/FakeSessionControl.h"
#include "tests/fakes/PrintQt.h"
#include "tests/ui/support/WidgetsApplication.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class HostChatWindowTest : public testui::UiTest {
 protected:
  void press(QWidget& widget, Qt::Key key, const QString& text = {}) {
    QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier, text);
    QKeyEvent up(QEvent::KeyRelease, key, Qt::NoModifier, text);
    QApplication::sendEvent(&widget, &down);
    QApplication::sendEvent(&widget, &up);
  }
  fakes::FakeSessionControl session_;
  QList<QUrl> opened_;
  HostChatWindow window_{session_, [this](const QUrl& url) { opened_.append(url); }};
};

TEST_F(HostChatWindowTest, isMadeHiddenWithItsTitleAndSize) {
  EXPECT_FALSE(window_.isVisible());
  EXPECT_EQ(window_.windowTitle(), u"Vantora Chat"_s);
  EXPECT_EQ(window_.size(), QSize(480, 560));
  EXPECT_EQ(window_.input().placeholderText(), u"Type a message…"_s);
  EXPECT_EQ(window_.sendButton().text(), u"Send"_s);
}

TEST_F(HostChatWindowTest, canBeClosedMinimisedMaximisedAndResized) {
  window_.show();
  const Qt::WindowFlags flags = window_.windowFlags();
  EXPECT_EQ(window_.windowType(), Qt::Window);
  for (const auto has :
       {Qt::WindowTitleHint, Qt::WindowCloseButtonHint, Qt::WindowMinimizeButtonHint, Qt::WindowMaximizeButtonHint}) {
    EXPECT_TRUE(flags.testFlag(has)) << has;
  }
  for (const auto lacks : {Qt::FramelessWindowHint, Qt::MSWindowsFixedSizeDialogHint}) {
    EXPECT_FALSE(flags.testFlag(lacks)) << lacks;
  }
  for (const QSize& size : {QSize(700, 800), QSize(300, 250)}) {
    window_.resize(size);
    testloop::drain();
    EXPECT_EQ(window_.size(), size);
    // The conversation takes all available space.
    EXPECT_EQ(window_.transcript().width(), size.width() - 24);
    EXPECT_EQ(window_.transcript().height(), size.height() - 12 - 8 - 28 - 12);
  }
}

TEST_F(HostChatWindowTest, laysItsPartsOut) {
  window_.show();
  testloop::drain();
  const QRect transcript = window_.transcript().geometry();
  const QRect field(window_.input().mapTo(&window_, QPoint()), window_.input().size());
  const QRect button(window_.sendButton().mapTo(&window_, QPoint()), window_.sendButton().size());
  const QRect bar = window_.input().parentWidget()->geometry();
  EXPECT_EQ(transcript.topLeft(), QPoint(12, 12));
  EXPECT_EQ(480 - (transcript.right() + 1), 12);
  EXPECT_EQ(bar.height(), 28);
  EXPECT_EQ(bar.left(), 12);
  EXPECT_EQ(480 - (bar.right() + 1), 12);
  EXPECT_EQ(560 - (bar.bottom() + 1), 12);
  EXPECT_EQ(bar.top() - (transcript.bottom() + 1), 8);
  EXPECT_EQ(field.height(), 24);
  EXPECT_EQ(field.center().y(), bar.center().y());
  EXPECT_EQ(button.left() - (field.right() + 1), 8);
  EXPECT_EQ(button.right(), bar.right());
  EXPECT_EQ(button.center().y(), bar.center().y());
}

TEST_F(HostChatWindowTest, sendsTheTextOfTheFieldAndClearsIt) {
  window_.input().setText(u"  hello there \t"_s);
  press(window_.input(), Qt::Key_Return);
  EXPECT_EQ(session_.taken(), QStringList{u"chat hello there"_s});
  EXPECT_EQ(window_.input().text(), QString());
  window_.input().setText(u"again"_s);
  window_.sendButton().click();
  EXPECT_EQ(session_.taken(), QStringList{u"chat again"_s});
}

TEST_F(HostChatWindowTest, sendsNothingOfOnlyBlanks) {
  window_.input().setText(u"  \t "_s);
  window_.sendTapped();
  EXPECT_TRUE(session_.taken().isEmpty());
  EXPECT_EQ(window_.input().text(), u"  \t "_s);
}

TEST_F(HostChatWindowTest, showsOwnMessagesOnlyByTheServersEcho) {
  window_.input().setText(u"hello"_s);
  window_.sendTapped();
  EXPECT_EQ(window_.transcript().text(), QString());
  window_.append(u"host"_s, u"hello"_s, 0);
  EXPECT_TRUE(window_.transcript().text().startsWith(u"YOU: hello "_s));
}

TEST_F(HostChatWindowTest, onlyHidesWhenClosedAndKeepsTheConversation) {
  window_.present();
  EXPECT_TRUE(window_.isVisible());
  window_.append(u"viewer"_s, u"still here"_s, 0);
  window_.close();
  testloop::drain();
  EXPECT_FALSE(window_.isVisible());
  window_.present();
  EXPECT_TRUE(window_.transcript().text().contains(u"VIEWER: still here"_s));
}

TEST_F(HostChatWindowTest, hidesOnEscape) {
  window_.present();
  press(window_.input(), Qt::Key_Escape);
  EXPECT_FALSE(window_.isVisible());
}

TEST_F(HostChatWindowTest, isReadyForTypingWhenPresented) {
  window_.present();
  window_.sendButton().setFocus();
  window_.present();
  EXPECT_EQ(window_.focusWidget(), &window_.input());
}

TEST_F(HostChatWindowTest, reportsWhenItIsShown) {
  int shown = 0;
  window_.setShownHandler([&shown] { ++shown; });
  window_.present();
  EXPECT_EQ(shown, 1);
}

TEST_F(HostChatWindowTest, opensWebAddressesAndNoOthers) {
  for (const QString& url : {u"https://x.example/y"_s, u"http://x.example"_s, u"file:///etc/passwd"_s,
                             u"javascript:alert(1)"_s, u"ftp://x.example"_s, u"relative"_s, u"https:///"_s}) {
    Q_EMIT window_.transcript().anchorClicked(QUrl(url));
  }
  EXPECT_EQ(opened_, (QList<QUrl>{QUrl(u"https://x.example/y"_s), QUrl(u"http://x.example"_s)}));
}

TEST_F(HostChatWindowTest, givesNoHelpWithTheText) {
  EXPECT_EQ(window_.input().completer(), nullptr);
  EXPECT_TRUE(window_.input().inputMethodHints().testFlag(Qt::ImhNoPredictiveText));
  EXPECT_TRUE(window_.input().inputMethodHints().testFlag(Qt::ImhNoAutoUppercase));
  for (const QChar& letter : u"\"it's\" -- (c) teh http://x"_s)
    press(window_.input(), Qt::Key_unknown, QString(letter));
  EXPECT_EQ(window_.input().text(), u"\"it's\" -- (c) teh http://x"_s);
}

TEST_F(HostChatWindowTest, namesItsPartsToAScreenReader) {
  EXPECT_EQ(window_.transcript().accessibleName(), u"Conversation"_s);
  EXPECT_EQ(window_.input().accessibleName(), u"Message"_s);
  EXPECT_EQ(window_.sendButton().text(), u"Send"_s);
}

TEST_F(HostChatWindowTest, leadsTheKeyboardFromFieldToButtonToConversation) {
  window_.present();
  EXPECT_EQ(window_.input().nextInFocusChain(), &window_.sendButton());
  QWidget* next = window_.sendButton().nextInFocusChain();
  while (!(next->focusPolicy() & Qt::TabFocus)) next = next->nextInFocusChain();
  EXPECT_EQ(next, &window_.transcript());
}

}  // namespace
}  // namespace vantora
