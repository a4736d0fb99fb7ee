// The item in the tray of real panels that embed windows.
#include <QDeadlineTimer>

#include "tests/ui/desktop/DesktopFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

const QColor kYellow(0xff, 0xcc, 0x00);
const QColor kGreen(0x28, 0xcd, 0x41);
const QColor kRed(0xff, 0x3b, 0x30);

class PanelTrayTest : public DesktopFixture {
 protected:
  void startPanel() {
    startWindowManager();
    panel_ = server_.spawn({"trayer", "--edge", "bottom", "--align", "right", "--widthtype", "request", "--heighttype",
                            "pixel", "--height", "32", "--tint", "0x303030", "--transparent", "false"});
  }
  // Waits for the panel with the bolt in it. This panel sometimes never maps its own window if an icon appears during
  // its start; then it is restarted.
  [[nodiscard]] bool panelShows(const QColor& colour) {
    for (int attempt = 0; attempt < 5 && !panelIsVisible(); ++attempt) {
      if (!comesToBe(u"tray"_s, u"1"_s)) return false;
      QDeadlineTimer timeout(2000);
      if (testloop::waitFor([&] { return timeout.hasExpired() || panelIsVisible(); }) && panelIsVisible()) break;
      panel_.end(SIGTERM);
      if (!comesToBe(u"tray"_s, u"0"_s)) return false;
      startPanel();
    }
    return shows(colour);
  }
  bool panelIsVisible() { return !xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^panel$"_s}).isEmpty(); }
  // Opens the menu with a click on the bolt; true once it is on the screen.
  [[nodiscard]] bool openMenu() {
    for (int attempt = 0; attempt < 3; ++attempt) {
      // The panel may still be growing, which moves the bolt before the click.
      const QRect bolt = placeOf(screen(), kYellow);
      if (bolt.isEmpty()) return false;
      clickAt(bolt.center());
      // It opens over the empty desktop beside the panel.
      const QPoint beside = bolt.center() - QPoint(30, 60);
      const auto isOpen = [&] { return screen().pixelColor(beside) != QColor(0, 0, 0); };
      QDeadlineTimer timeout(10000);
      if (testloop::waitFor([&] { return timeout.hasExpired() || isOpen(); }) && isOpen()) return true;
    }
    return false;
  }

  testx11::ChildProcess panel_;
};

TEST_F(PanelTrayTest, showsTheBoltInTheColourOfTheConnection) {
  startPanel();
  startStage();
  EXPECT_TRUE(comesToBe(u"tray"_s, u"1"_s));
  ASSERT_TRUE(panelShows(kYellow));
  const QRect bolt = placeOf(screen(u"tray-new"_s), kYellow);
  EXPECT_LT(bolt.width(), bolt.height());  // Taller than wide, as a bolt is.
  EXPECT_GE(bolt.height(), 6);
  tell(u"ice 2"_s);
  EXPECT_TRUE(shows(kGreen));
  EXPECT_TRUE(placeOf(screen(), kRed).isEmpty());
  tell(u"chat viewer hello"_s);
  EXPECT_TRUE(shows(kRed));
  const QImage image = screen(u"tray-connected-unread"_s);
  // The dot is above and to the right of the middle of the bolt.
  EXPECT_GT(placeOf(image, kRed).center().x(), placeOf(image, kGreen).center().x());
  EXPECT_LT(placeOf(image, kRed).center().y(), placeOf(image, kGreen).center().y());
}

TEST_F(PanelTrayTest, appearsWhenThePanelStartsLaterAndAgainWhenItRestarts) {
  startStage();
  EXPECT_TRUE(comesToBe(u"tray"_s, u"0"_s));
  startPanel();
  EXPECT_TRUE(panelShows(kYellow));
  screen(u"tray-later"_s);
  EXPECT_TRUE(comesToBe(u"tray"_s, u"1"_s));
  panel_.end(SIGTERM);
  EXPECT_TRUE(comesToBe(u"tray"_s, u"0"_s));
  EXPECT_TRUE(showsNo(kYellow));
  startPanel();
  EXPECT_TRUE(panelShows(kYellow));
  EXPECT_TRUE(comesToBe(u"tray"_s, u"1"_s));
}

TEST_F(PanelTrayTest, opensItsMenuAtAClickAndDoesWhatIsChosen) {
  startPanel();
  startStage();
  ASSERT_TRUE(panelShows(kYellow));
  ASSERT_TRUE(openMenu());
  screen(u"tray-menu"_s);
  // From the end upwards: "Quit Vantora", "Chat…".
  press(u"Up"_s);
  press(u"Up"_s);
  press(u"Return"_s);
  EXPECT_TRUE(sees(u"Vantora Chat"_s));
  EXPECT_FALSE(stage_.canReadLine());
}

TEST_F(PanelTrayTest, quitsFromTheMenu) {
  startPanel();
  startStage();
  ASSERT_TRUE(panelShows(kYellow));
  ASSERT_TRUE(openMenu());
  press(u"Up"_s);
  press(u"Return"_s);
  EXPECT_EQ(answer(u"asked"_s), u"quit"_s);
}

TEST_F(PanelTrayTest, keepsAnOpenMenuUpToDate) {
  startPanel();
  startStage();
  ASSERT_TRUE(panelShows(kYellow));
  ASSERT_TRUE(openMenu());
  const QImage before = screen();
  tell(u"ice 2"_s);
  tell(u"sharing 1"_s);
  ASSERT_TRUE(shows(kGreen));
  // It is still open, and its text has changed.
  const QRect menu(0, 0, 1000, 600);
  EXPECT_TRUE(testloop::waitFor([&] { return screen().copy(menu) != before.copy(menu); }));
  screen(u"tray-menu-updated"_s);
  press(u"Up"_s);
  press(u"Return"_s);
  EXPECT_EQ(answer(u"asked"_s), u"quit"_s);
}

TEST_F(PanelTrayTest, needsNoPanelWindowWhereTheTrayShowsIt) {
  startPanel();
  startStage();
  ASSERT_TRUE(panelShows(kYellow));
  ASSERT_TRUE(comesToBe(u"tray"_s, u"1"_s));
  tell(u"reopen"_s);
  tell(u"windows?"_s);
  EXPECT_EQ(answer(u"windows"_s), u"Vantora Chat"_s);
  EXPECT_TRUE(sees(u"Vantora Chat"_s));
  EXPECT_TRUE(windows(u"Vantora Host"_s).isEmpty());
}

TEST_F(PanelTrayTest, isReachableWithoutAnyTray) {
  startStage();
  EXPECT_TRUE(comesToBe(u"tray"_s, u"0"_s));
  tell(u"reopen"_s);
  tell(u"windows?"_s);
  EXPECT_EQ(answer(u"windows"_s), u"Vantora Chat, Vantora Host"_s);
  EXPECT_TRUE(sees(u"Vantora Chat"_s));
  EXPECT_TRUE(sees(u"Vantora Host"_s));
  screen(u"reopened-without-tray"_s);
}

TEST_F(PanelTrayTest, showsItselfWithoutAnyTrayAndLeavesTheKeyboardAlone) {
  startWindowManager();
  const auto editor = server_.spawn({"xterm", "-maximized", "-T", "typing here"});
  ASSERT_TRUE(sees(u"typing here"_s));
  ASSERT_TRUE(testloop::waitFor([this] { return activeWindow() == u"typing here"_s; }));
  startStage();
  tell(u"introduce 100"_s);
  ASSERT_TRUE(expect(u"introduced"_s));
  ASSERT_TRUE(sees(u"Vantora Host"_s));
  // In front of the window that covers the whole screen.
  EXPECT_TRUE(shows(kYellow));
  EXPECT_EQ(activeWindow(), u"typing here"_s);
  screen(u"panel-by-itself"_s);
}

TEST_F(PanelTrayTest, doesNotShowItselfWhereTheTrayShowsTheItem) {
  startPanel();
  startStage();
  ASSERT_TRUE(comesToBe(u"tray"_s, u"1"_s));
  tell(u"introduce 100"_s);
  ASSERT_TRUE(expect(u"introduced"_s));
  tell(u"windows?"_s);
  EXPECT_EQ(answer(u"windows"_s), QString());
}

TEST_F(PanelTrayTest, showsTheMenusWindowInLightAndDark) {
  startStage();
  tell(u"ice 2"_s);
  tell(u"panel"_s);
  ASSERT_TRUE(sees(u"Vantora Host"_s));
  ASSERT_TRUE(shows(kGreen));
  const QImage light = screen(u"panel-light"_s);
  tell(u"dark"_s);
  EXPECT_TRUE(shows(QColor(0x24, 0x25, 0x28)));
  screen(u"panel-dark"_s);
  EXPECT_TRUE(placeOf(light, QColor(0x24, 0x25, 0x28)).isEmpty());
}

}  // namespace
}  // namespace vantora
