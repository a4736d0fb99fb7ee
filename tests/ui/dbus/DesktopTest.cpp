// Other communication with the desktop over its bus: the launcher's count, light or dark.
#include <gtest/gtest.h>

#include "main/ui/Theme.h"
#include "tests/ui/dbus/BusFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class LauncherBadgeTest : public BusFixture {
 protected:
  // "vantora-host 2 shown" and the like for each announcement since the last call.
  QStringList announced() { return std::exchange(announced_, {}); }

  QStringList announced_;
  DBusSignal listener_{other_, QString(), u"com.canonical.Unity.LauncherEntry"_s, u"Update"_s,
                       [this](const QDBusMessage& signal) {
                         const auto values = qdbus_cast<QVariantMap>(signal.arguments().value(1));
                         announced_.append(u"%1 %2 %3"_s.arg(signal.arguments().value(0).toString())
                                               .arg(values.value(u"count"_s).toLongLong())
                                               .arg(values.value(u"count-visible"_s).toBool() ? u"shown"_s : u"off"_s));
                       }};
};

TEST_F(LauncherBadgeTest, countsUnreadChatAndGoesWhenItIsRead) {
  start();
  interface_->presentChat(u"viewer"_s, u"one"_s, 0);
  settle();
  EXPECT_EQ(announced(), QStringList{u"application://vantora-host.desktop 1 shown"_s});
  interface_->presentChat(u"viewer"_s, u"two"_s, 0);
  settle();
  EXPECT_EQ(announced(), QStringList{u"application://vantora-host.desktop 2 shown"_s});
  bar().showChatWindow();
  settle();
  EXPECT_EQ(announced(), QStringList{u"application://vantora-host.desktop 0 off"_s});
  interface_->presentChat(u"viewer"_s, u"seen"_s, 0);
  settle();
  EXPECT_EQ(announced(), QStringList());
}

TEST_F(LauncherBadgeTest, sendsOnlyTheLastCountOfABurst) {
  start();
  for (int i = 0; i < 1000; ++i) interface_->presentChat(u"viewer"_s, u"x"_s, 0);
  settle();
  EXPECT_EQ(announced(), QStringList{u"application://vantora-host.desktop 1000 shown"_s});
}

// The part of org.freedesktop.portal.Desktop for light and dark.
class FakePortal final : public DBusObject {
 public:
  FakePortal(const QDBusConnection& bus, uint scheme)
      : DBusObject(bus, u"/org/freedesktop/portal/desktop"_s, u"org.freedesktop.portal.Settings"_s, {}),
        connection_(bus),
        scheme_(scheme) {
    connection_.registerService(u"org.freedesktop.portal.Desktop"_s);
  }
  ~FakePortal() override { connection_.unregisterService(u"org.freedesktop.portal.Desktop"_s); }
  void setScheme(uint scheme) {
    scheme_ = scheme;
    emitSignal(u"SettingChanged"_s,
               {u"org.freedesktop.appearance"_s, u"color-scheme"_s, QVariant::fromValue(QDBusVariant(scheme_))});
  }
  void setSomethingElse() {
    emitSignal(u"SettingChanged"_s,
               {u"org.freedesktop.appearance"_s, u"contrast"_s, QVariant::fromValue(QDBusVariant(1U))});
  }

 private:
  std::optional<QVariantList> call(const QString& method, const QVariantList& arguments) override {
    if (method != "Read"_L1 || arguments.value(1) != u"color-scheme"_s) return std::nullopt;
    const QDBusVariant inner{QVariant(scheme_)};
    return QVariantList{QVariant::fromValue(QDBusVariant(QVariant::fromValue(inner)))};
  }
  QVariantMap properties() const override { return {}; }

  QDBusConnection connection_;
  uint scheme_;
};

class DesktopAppearanceTest : public BusFixture {
 protected:
  ~DesktopAppearanceTest() override { QApplication::setPalette(QPalette()); }
  static bool dark() { return theme::isDark(QApplication::palette()); }
};

TEST_F(DesktopAppearanceTest, startsDarkOnADarkDesktop) {
  FakePortal portal(other_, 1);
  start();
  EXPECT_TRUE(waitFor([] { return dark(); }));
  EXPECT_TRUE(waitFor([this] { return theme::isDark(bar().chatWindow().palette()); }));
}

TEST_F(DesktopAppearanceTest, followsTheDesktopBothWays) {
  FakePortal portal(other_, 2);
  start();
  settle();
  EXPECT_FALSE(dark());
  portal.setSomethingElse();
  settle();
  EXPECT_FALSE(dark());
  portal.setScheme(1);
  EXPECT_TRUE(waitFor([] { return dark(); }));
  portal.setScheme(0);
  EXPECT_TRUE(waitFor([] { return !dark(); }));
}

TEST_F(DesktopAppearanceTest, changesNothingOnADesktopThatIsDarkByItself) {
  QPalette own = theme::darkPalette();
  own.setColor(QPalette::Window, QColor(1, 2, 3));
  QApplication::setPalette(own);
  FakePortal portal(other_, 1);
  start();
  settle();
  EXPECT_EQ(QApplication::palette().color(QPalette::Window), QColor(1, 2, 3));
  portal.setScheme(0);
  settle();
  EXPECT_EQ(QApplication::palette().color(QPalette::Window), QColor(1, 2, 3));
}

}  // namespace
}  // namespace vantora
