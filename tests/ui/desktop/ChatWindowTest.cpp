// The chat window under a real window manager, with real key and pointer events.
#include "tests/ui/desktop/DesktopFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class ChatWindowTest : public DesktopFixture {
 protected:
  void open() {
    startStage();
    // Only this window: another one would also request the keyboard focus, and the last request wins.
    tell(u"open"_s);
    ASSERT_TRUE(sees(u"Vantora Chat"_s));
    ASSERT_TRUE(comesToBe(u"focus"_s, u"Message"_s));
  }
  void conversation() {
    tell(u"chat viewer Hello! I can see your screen now."_s);
    tell(u"chat host Great, the printer does not answer any more."_s);
    tell(u"chat viewer Please look at https://example.com/help/printers?id=7 and press “Retry”."_s);
    tell(
        u"chat viewer <b>Not bold</b> <img src=\"x\"> &amp; \U0001F44D\U0001F469\u200D\U0001F4BB\U0001F1E9\U0001F1EA"_s);
    tell(
        u"chat host \u05E9\u05DC\u05D5\u05DD, \u05D4\u05DB\u05DC \u05E2\u05D5\u05D1\u05D3 \u05E2\u05DB\u05E9\u05D9\u05D5"_s);
    tell(u"chat viewer \U0001F680"_s);
  }
};

TEST_F(ChatWindowTest, isReadyForTypingAndSendsWhatIsTyped) {
  open();
  xdotool({u"type"_s, u"--delay"_s, u"20"_s, u"it's \"quoted\" -- (c) teh"_s});
  press(u"Return"_s);
  EXPECT_EQ(answer(u"asked chat"_s), u"it's \"quoted\" -- (c) teh"_s);
}

TEST_F(ChatWindowTest, sendsWithTheButtonReachedByTheKeyboard) {
  open();
  xdotool({u"type"_s, u"hi"_s});
  press(u"Tab"_s);
  press(u"space"_s);
  EXPECT_EQ(answer(u"asked chat"_s), u"hi"_s);
}

TEST_F(ChatWindowTest, opensALinkThatIsClicked) {
  open();
  conversation();
  QStringList place;
  ASSERT_TRUE(testloop::waitFor([&] {
    tell(u"link? printers"_s);
    place = answer(u"link"_s).value_or(QString()).split(u' ');
    return place.size() == 2 && place.at(0).toInt() > 0;
  }));
  ASSERT_TRUE(testloop::waitFor([&] {
    clickAt({place.at(0).toInt(), place.at(1).toInt()});
    return !opened().isEmpty();
  }));
  EXPECT_EQ(opened().first(), u"https://example.com/help/printers?id=7"_s);
}

TEST_F(ChatWindowTest, hidesWhenClosedAndComesBackWithItsConversation) {
  open();
  tell(u"chat viewer still here"_s);
  // The window manager closes the active window; this one may not be active yet.
  ASSERT_TRUE(testloop::waitFor([this] { return activeWindow() == u"Vantora Chat"_s; }));
  // Again until it does, as a person would: the first key of a test changes the keyboard map, and the window manager
  // gets no keys while it binds them anew.
  EXPECT_TRUE(testloop::waitFor([this] {
    press(u"alt+F4"_s);
    return windows(u"Vantora Chat"_s).isEmpty();
  }));
  tell(u"chat viewer unseen"_s);
  EXPECT_TRUE(comesToBe(u"unread"_s, u"1"_s));
  tell(u"reopen"_s);
  EXPECT_TRUE(sees(u"Vantora Chat"_s));
  EXPECT_TRUE(comesToBe(u"unread"_s, u"0"_s));
  tell(u"link? still"_s);
  EXPECT_TRUE(answer(u"link"_s).value_or(QString()).section(u' ', 0, 0).toInt() > 0);
}

TEST_F(ChatWindowTest, comesToTheFrontOverWhatTheUserIsDoing) {
  open();
  xdotool({u"type"_s, u"hi"_s});
  press(u"Return"_s);
  EXPECT_EQ(answer(u"asked chat"_s), u"hi"_s);
  press(u"alt+F4"_s);
  EXPECT_TRUE(vanishes(u"Vantora Chat"_s));
  const testx11::ChildProcess terminal = server_.spawn({"xterm", "-T", "busy", "-e", "cat"});
  ASSERT_TRUE(sees(u"busy"_s));
  ASSERT_TRUE(testloop::waitFor([this] { return activeWindow() == u"busy"_s; }));
  xdotool({u"type"_s, u"later than anything in the chat"_s});
  tell(u"open"_s);
  EXPECT_TRUE(testloop::waitFor([this] { return activeWindow() == u"Vantora Chat"_s; }));
  EXPECT_TRUE(comesToBe(u"focus"_s, u"Message"_s));
}

TEST_F(ChatWindowTest, looksRightInLightAndDark) {
  open();
  conversation();
  const QColor darkBase(0x1b, 0x1c, 0x1f);
  EXPECT_TRUE(comesToBe(u"unread"_s, u"0"_s));
  EXPECT_TRUE(placeOf(screen(u"chat-light"_s), darkBase).isEmpty());
  tell(u"dark"_s);
  EXPECT_TRUE(shows(darkBase));
  EXPECT_TRUE(shows(QColor(0xf0, 0xf0, 0xf2)));
  screen(u"chat-dark"_s);
  tell(u"light"_s);
  EXPECT_TRUE(showsNo(darkBase));
}

TEST_F(ChatWindowTest, growsWithTheDensityOfTheScreen) {
  startStage({u"QT_SCALE_FACTOR=1.25"_s});
  conversation();
  tell(u"reopen"_s);
  ASSERT_TRUE(sees(u"Vantora Chat"_s));
  const QStringList size =
      xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Vantora Chat$"_s, u"getwindowgeometry"_s, u"--shell"_s})
          .split(u'\n');
  EXPECT_TRUE(size.contains(u"WIDTH=600"_s)) << size.join(u' ').toStdString();
  screen(u"chat-dense"_s);
}

}  // namespace
}  // namespace vantora
