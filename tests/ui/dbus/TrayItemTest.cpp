#include <gtest/gtest.h>

#include <QDBusObjectPath>
#include <QImage>
#include <QMenu>
#include <QtEndian>
#include <algorithm>
#include <optional>

#include "main/ui/StatusIcon.h"
#include "main/ui/Theme.h"
#include "main/ui/tray/Tray.h"
#include "tests/ui/dbus/BusFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class TrayItemTest : public BusFixture {
 protected:
  void startInPanel() {
    watcher_ = std::make_unique<testui::FakeWatcher>(other_);
    start();
    ASSERT_TRUE(waitFor([this] { return !watcher_->items().isEmpty() && bar().trayShown(); }));
    reader_ = std::make_unique<testui::ItemReader>(other_, watcher_->items().last());
  }
  static QImage decoded(const DBusImage& source) {
    QImage image(source.width, source.height, QImage::Format_ARGB32);
    qFromBigEndian<quint32>(source.pixels.constData(), source.width * source.height, image.bits());
    return image;
  }

  std::unique_ptr<testui::FakeWatcher> watcher_;
  std::unique_ptr<testui::ItemReader> reader_;
};

TEST_F(TrayItemTest, describesItself) {
  startInPanel();
  EXPECT_EQ(reader_->property("Id").toString(), u"vantora-host"_s);
  EXPECT_EQ(reader_->property("Title").toString(), u"Vantora Host"_s);
  EXPECT_EQ(reader_->property("Category").toString(), u"ApplicationStatus"_s);
  EXPECT_EQ(reader_->property("Status").toString(), u"Active"_s);
  EXPECT_TRUE(reader_->property("ItemIsMenu").toBool());
  EXPECT_EQ(reader_->property("Menu").value<QDBusObjectPath>().path(), u"/MenuBar"_s);
  const QDBusMessage all = reader_->ask("/StatusNotifierItem", "org.freedesktop.DBus.Properties", "GetAll",
                                        {u"org.kde.StatusNotifierItem"_s});
  const auto values = qdbus_cast<QVariantMap>(all.arguments().value(0));
  for (const QString& name : {u"IconPixmap"_s, u"ToolTip"_s, u"IconName"_s, u"AttentionIconPixmap"_s}) {
    EXPECT_TRUE(values.contains(name)) << name.toStdString();
  }
}

TEST_F(TrayItemTest, givesItsIconInEverySizeThatPanelsUse) {
  startInPanel();
  QList<int> sizes;
  const QList<DBusImage> icon = reader_->icon();
  for (const DBusImage& image : icon) {
    EXPECT_EQ(image.width, image.height);
    EXPECT_EQ(image.pixels.size(), image.width * image.height * 4);
    sizes.append(image.width);
    const QImage expected = makeStatusIcon(statusColor(IceState::initial), iconOutline(), false)
                                .pixmap(QSize(image.width, image.height), 1.0)
                                .toImage()
                                .convertToFormat(QImage::Format_ARGB32);
    EXPECT_EQ(decoded(image), expected) << image.width;
  }
  for (const int size : {16, 22, 24, 32, 44, 48, 64, 96, 128}) EXPECT_TRUE(sizes.contains(size)) << size;
}

TEST_F(TrayItemTest, changesColourWithTheConnection) {
  startInPanel();
  const auto colour = [this] {
    const QImage image = decoded(reader_->icon().last());
    return image.pixelColor(image.width() * 11 / 18, image.height() * 9 / 18 + image.height() / 72);
  };
  EXPECT_EQ(colour(), statusColor(IceState::initial));
  for (const IceState state : {IceState::connected, IceState::failed, IceState::count}) {
    reader_->signalNames();
    session_.change([state](HostState& shown) { shown.iceState = state; });
    EXPECT_TRUE(waitFor([this] { return reader_->receivedSignals().size() >= 2; }));
    EXPECT_TRUE(reader_->signalNames().contains(u"NewIcon"_s));
    EXPECT_EQ(colour(), statusColor(state));
  }
}

TEST_F(TrayItemTest, outlinesTheBoltInTheColourOfTextAlsoAfterThePaletteChanged) {
  startInPanel();
  // The line outside the upper tip.
  const auto outline = [this] {
    const QImage image = decoded(reader_->icon().last());
    return image.pixelColor(qRound(image.width() * 10.2 / 18), qRound(image.height() * 2.8 / 18));
  };
  const QColor before = outline();
  EXPECT_LT(before.lightness(), 64);
  reader_->signalNames();
  QApplication::setPalette(theme::darkPalette());
  EXPECT_TRUE(waitFor([this] { return reader_->signalNames().contains(u"NewIcon"_s); }));
  EXPECT_GT(outline().lightness(), 192);
  QApplication::setPalette(QPalette());
  EXPECT_TRUE(waitFor([this] { return reader_->signalNames().contains(u"NewIcon"_s); }));
  EXPECT_EQ(outline(), before);
}

TEST_F(TrayItemTest, showsStateAndPresetInItsToolTip) {
  startInPanel();
  EXPECT_EQ(reader_->toolTip(), u"Vantora Host — Connection: new. Preset: auto"_s);
  session_.change([](HostState& shown) {
    shown.iceState = IceState::checking;
    shown.qualityPreset = u"<b>text</b>"_s;
  });
  EXPECT_TRUE(waitFor([this] { return reader_->signalNames().contains(u"NewToolTip"_s); }));
  EXPECT_EQ(reader_->toolTip(), u"Vantora Host — Connection: checking. Preset: <b>text</b>"_s);
  // The field that panels read as markup stays empty.
  EXPECT_EQ(qdbus_cast<DBusToolTip>(reader_->property("ToolTip")).description, QString());
}

TEST_F(TrayItemTest, hasADotWhileChatIsUnread) {
  startInPanel();
  const auto dot = [this] {
    const QImage image = decoded(reader_->icon().last());
    return image.pixelColor(qRound(image.width() * 14.75 / 18), qRound(image.height() * 3.25 / 18));
  };
  EXPECT_EQ(dot().alpha(), 0);
  interface_->presentChat(u"viewer"_s, u"one"_s, 0);
  interface_->presentChat(u"viewer"_s, u"two"_s, 0);
  EXPECT_TRUE(waitFor([this] { return reader_->signalNames().contains(u"NewIcon"_s); }));
  EXPECT_EQ(dot(), QColor(0xff, 0x3b, 0x30));
  bar().showChatWindow();
  EXPECT_TRUE(waitFor([this] { return reader_->signalNames().contains(u"NewIcon"_s); }));
  EXPECT_EQ(dot().alpha(), 0);
}

TEST_F(TrayItemTest, announcesNothingThatDidNotChange) {
  startInPanel();
  for (int i = 0; i < 50; ++i) {
    session_.change([](HostState&) {});
    interface_->presentChat(u"viewer"_s, u"hello"_s, 0);
  }
  settle();
  EXPECT_EQ(reader_->signalNames(), QStringList{u"NewIcon"_s});
}

TEST_F(TrayItemTest, comesBackWhenThePanelRestarts) {
  startInPanel();
  watcher_.reset();
  EXPECT_TRUE(waitFor([this] { return !bar().trayShown(); }));
  watcher_ = std::make_unique<testui::FakeWatcher>(other_);
  EXPECT_TRUE(waitFor([this] { return watcher_->items().size() == 1 && bar().trayShown(); }));
  EXPECT_EQ(reader_->rows().size(), 17);
}

TEST_F(TrayItemTest, comesWhenThePanelStartsLater) {
  start();
  settle();
  EXPECT_FALSE(bar().trayShown());
  watcher_ = std::make_unique<testui::FakeWatcher>(other_, false);
  EXPECT_TRUE(waitFor([this] { return watcher_->items().size() == 1; }));
  settle();
  EXPECT_FALSE(bar().trayShown());  // There is a watcher and no host.
  watcher_->setHostRegistered(true);
  EXPECT_TRUE(waitFor([this] { return bar().trayShown(); }));
  watcher_->setHostRegistered(false);
  EXPECT_TRUE(waitFor([this] { return !bar().trayShown(); }));
}

// Trays without the rest of the interface, with a short timeout for the panel.
class TrayOfASilentPanelTest : public BusFixture {
 protected:
  void startTray() {
    tray_ = std::make_unique<Tray>(bus_.connect(), Tray::Handlers{.triggered = {}, .activated = {}},
                                   std::chrono::milliseconds(100));
    tray_->setRows(menuRows(session_.state()));
  }
  // Whether an item for trays of the older kind exists: its menu is a window.
  static bool legacyTrayExists() {
    return std::ranges::any_of(QApplication::topLevelWidgets(),
                               [](const QWidget* window) { return qobject_cast<const QMenu*>(window) != nullptr; });
  }
  // Whether the query for a host arrived and was repeated.
  bool queriedAgain() {
    return waitFor([this] { return watcher_->kept(u"Get"_s) >= 2; });
  }

  std::optional<testui::FakeWatcher> watcher_{std::in_place, other_};
  std::unique_ptr<Tray> tray_;
};

TEST_F(TrayOfASilentPanelTest, makesNoOtherItemAndShowsThisOneWhenThePanelContinues) {
  watcher_->stop();
  startTray();
  ASSERT_TRUE(queriedAgain());
  EXPECT_FALSE(tray_->shown());
  EXPECT_FALSE(legacyTrayExists());
  watcher_->goOn();
  EXPECT_TRUE(waitFor([this] { return tray_->shown(); }));
  EXPECT_EQ(watcher_->items().size(), 1);
  EXPECT_FALSE(legacyTrayExists());
}

TEST_F(TrayOfASilentPanelTest, goesToTheOlderKindWhenThePanelFinallyReportsThatItShowsNothing) {
  watcher_->setHostRegistered(false);
  watcher_->stop();
  startTray();
  ASSERT_TRUE(queriedAgain());
  EXPECT_FALSE(legacyTrayExists());
  watcher_->goOn();
  EXPECT_TRUE(waitFor([] { return legacyTrayExists(); }));
}

TEST_F(TrayOfASilentPanelTest, goesToTheOlderKindWhenThePanelEnds) {
  watcher_->stop();
  startTray();
  ASSERT_TRUE(queriedAgain());
  EXPECT_FALSE(legacyTrayExists());
  watcher_.reset();
  EXPECT_TRUE(waitFor([] { return legacyTrayExists(); }));
}

TEST_F(TrayOfASilentPanelTest, staysWhereItIsShownWhenThePanelHangsLater) {
  startTray();
  ASSERT_TRUE(waitFor([this] { return tray_->shown(); }));
  watcher_->stop();
  // Another host registered: a reason to query again.
  watcher_->setHostRegistered(true);
  ASSERT_TRUE(queriedAgain());
  EXPECT_TRUE(tray_->shown());
  EXPECT_FALSE(legacyTrayExists());
}

TEST_F(TrayItemTest, needsNoPanelWindowWhereTheTrayShowsIt) {
  startInPanel();
  interface_->handleReopen();
  EXPECT_TRUE(bar().chatWindow().isVisible());
  for (const QWidget* window : QApplication::topLevelWidgets()) {
    EXPECT_FALSE(window->isVisible() && window->windowTitle() == u"Vantora Host"_s);
  }
}

TEST_F(TrayItemTest, raisesThePanelWhenPressedWithoutAMenu) {
  startInPanel();
  EXPECT_EQ(reader_->askItem("Activate", {10, 10}).type(), QDBusMessage::ReplyMessage);
  EXPECT_TRUE(waitFor([] {
    for (const QWidget* window : QApplication::topLevelWidgets()) {
      if (window->isVisible() && window->windowTitle() == u"Vantora Host"_s) return true;
    }
    return false;
  }));
}

TEST_F(TrayItemTest, passesNoActivationTokenToProgramsItStarts) {
  startInPanel();
  EXPECT_EQ(reader_->askItem("ProvideXdgActivationToken", {u"token"_s}).type(), QDBusMessage::ReplyMessage);
  EXPECT_FALSE(qEnvironmentVariableIsSet("XDG_ACTIVATION_TOKEN"));
}

TEST_F(TrayItemTest, answersInvalidCallsWithAnError) {
  startInPanel();
  EXPECT_EQ(reader_->askItem("Explode", {}).type(), QDBusMessage::ErrorMessage);
  EXPECT_EQ(reader_->askItem("Activate", {u"x"_s}).type(), QDBusMessage::ReplyMessage);
  EXPECT_EQ(reader_->ask("/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Get", {u"x"_s, u"y"_s}).type(),
            QDBusMessage::ErrorMessage);
  EXPECT_EQ(reader_
                ->ask("/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Set",
                      {u"org.kde.StatusNotifierItem"_s, u"Title"_s, QVariant::fromValue(QDBusVariant(u"x"_s))})
                .type(),
            QDBusMessage::ErrorMessage);
  EXPECT_EQ(reader_->property("Title").toString(), u"Vantora Host"_s);
}

}  // namespace
}  // namespace vantora
