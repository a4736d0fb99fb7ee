// The item in a real panel that reads trays over D-Bus.
#include <QDeadlineTimer>

#include "tests/ui/desktop/DesktopFixture.h"
#include "tests/ui/support/FakePanel.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

const QColor kYellow(0xff, 0xcc, 0x00);
const QColor kGreen(0x28, 0xcd, 0x41);
const QColor kRed(0xff, 0x3b, 0x30);

// A panel along the upper edge with a tray and nothing else.
constexpr auto kPanelSettings = R"xml(<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array"><value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="length" type="uint" value="100"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="size" type="uint" value="32"/>
      <property name="plugin-ids" type="array"><value type="int" value="1"/></property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="systray"/>
  </property>
</channel>
)xml";

class PanelOverDBusTest : public DesktopFixture {
 protected:
  void SetUp() override {
    const QString folder = home_.filePath(u".config/xfce4/xfconf/xfce-perchannel-xml"_s);
    ASSERT_TRUE(QDir().mkpath(folder));
    QFile settings(folder + u"/xfce4-panel.xml"_s);
    ASSERT_TRUE(settings.open(QIODevice::WriteOnly));
    settings.write(kPanelSettings);
    settings.close();
    ASSERT_TRUE(bus_.running());
    startStage({u"DBUS_SESSION_BUS_ADDRESS="_s + QString::fromStdString(bus_.variable()).section(u'=', 1)});
  }
  void startPanel() {
    std::vector<std::string> environment = environment_;
    environment.push_back(server_.displayVariable());
    environment.push_back(bus_.variable());
    panel_ = testx11::ChildProcess({"xfce4-panel", "--disable-wm-check"}, environment);
  }
  // Whether the menu covers the desktop below the item.
  bool menuIsOpen() { return screen().pixelColor(60, 200) != QColor(0, 0, 0); }

  QTemporaryDir home_;
  const std::vector<std::string> environment_ = {
      "HOME=" + home_.path().toStdString(), "XDG_CONFIG_HOME=" + home_.filePath(u".config"_s).toStdString(),
      "XDG_CACHE_HOME=" + home_.filePath(u".cache"_s).toStdString(), "NO_AT_BRIDGE=1", server_.displayVariable()};
  testui::SessionBus bus_{"panel-session.conf", environment_};
  testx11::ChildProcess panel_;
};

TEST_F(PanelOverDBusTest, showsItsIconAndItsMenuAndComesBackWithThePanel) {
  EXPECT_TRUE(comesToBe(u"tray"_s, u"0"_s));
  startPanel();
  ASSERT_TRUE(comesToBe(u"tray"_s, u"1"_s));
  ASSERT_TRUE(shows(kYellow));
  tell(u"ice 2"_s);
  ASSERT_TRUE(shows(kGreen));
  EXPECT_TRUE(placeOf(screen(), kRed).isEmpty());
  tell(u"chat viewer Hello!"_s);
  EXPECT_TRUE(shows(kRed));

  // Any click opens the menu, and its texts change while it is open.
  ASSERT_FALSE(menuIsOpen());
  clickAt(placeOf(screen(), kGreen).center());
  ASSERT_TRUE(testloop::waitFor([this] { return menuIsOpen(); }));
  const QImage before = screen(u"xfce-menu"_s);
  tell(u"sharing 1"_s);
  EXPECT_TRUE(testloop::waitFor([&] { return menuIsOpen() && screen() != before; }));
  screen(u"xfce-menu-updated"_s);
  press(u"Up"_s);
  press(u"Up"_s);
  press(u"Return"_s);
  EXPECT_TRUE(sees(u"Vantora Chat"_s));
  EXPECT_TRUE(showsNo(kRed));  // Read.

  panel_.end(SIGTERM);
  EXPECT_TRUE(comesToBe(u"tray"_s, u"0"_s));
  startPanel();
  EXPECT_TRUE(comesToBe(u"tray"_s, u"1"_s));
  EXPECT_TRUE(shows(kGreen));
}

class HangingPanelTest : public DesktopFixture {
 protected:
  testui::SessionBus bus_;
  testui::FakeWatcher panel_{bus_.connect()};
};

TEST_F(HangingPanelTest, doesNotHangWithItAndShowsItsIconAfterwards) {
  panel_.stop();
  startStage({QString::fromStdString(bus_.variable())});
  // It stays responsive until the first query has timed out and been repeated.
  const QDeadlineTimer timeout(120000);
  while (panel_.kept(u"Get"_s) < 2) {
    ASSERT_FALSE(timeout.hasExpired());
    ASSERT_TRUE(comesToBe(u"tray"_s, u"0"_s));
    const QDeadlineTimer pause(200);
    static_cast<void>(testloop::waitFor([&pause] { return pause.hasExpired(); }));
  }
  tell(u"reopen"_s);
  EXPECT_TRUE(sees(u"Vantora Chat"_s));
  EXPECT_TRUE(sees(u"Vantora Host"_s));
  panel_.goOn();
  EXPECT_TRUE(comesToBe(u"tray"_s, u"1"_s));
  EXPECT_EQ(panel_.items().size(), 1);
}

}  // namespace
}  // namespace vantora
