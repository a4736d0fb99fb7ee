#include <gtest/gtest.h>

#include <QClipboard>

#include "tests/ui/dbus/BusFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class TrayMenuTest : public BusFixture {
 protected:
  void SetUp() override {
    start();
    ASSERT_TRUE(waitFor([this] { return watcher_.items().size() == 1 && bar().trayShown(); }));
    reader_ = std::make_unique<testui::ItemReader>(other_, watcher_.items().first());
  }
  static QStringList titles(const QList<DBusMenuLayout>& rows) {
    QStringList all;
    for (const DBusMenuLayout& row : rows) {
      const bool separator = row.properties.value(u"type"_s) == u"separator"_s;
      all.append(separator ? u"---"_s : row.properties.value(u"label"_s).toString());
    }
    return all;
  }
  QStringList askedAfterClick(int id) {
    EXPECT_EQ(reader_->click(id).type(), QDBusMessage::ReplyMessage);
    settle();
    return session_.taken();
  }
  // The properties of row `id` in the only announcement so far.
  QVariantMap announced(int id) {
    EXPECT_TRUE(waitFor([this] { return !reader_->receivedSignals().isEmpty(); }));
    for (const QDBusMessage& signal : reader_->receivedSignals()) {
      for (const auto& each : qdbus_cast<QList<DBusMenuProperties>>(signal.arguments().value(0))) {
        if (signal.member() == "ItemsPropertiesUpdated"_L1 && each.id == id) return each.properties;
      }
    }
    return {};
  }

  testui::FakeWatcher watcher_{other_};
  std::unique_ptr<testui::ItemReader> reader_;
};

TEST_F(TrayMenuTest, showsTheSeventeenRowsInOrder) {
  EXPECT_EQ(titles(reader_->rows()),
            (QStringList{u"Vantora Host"_s, u"Connection: new"_s, u"Preset: auto"_s, u"Room: desk-7"_s,
                         u"Control PIN: 000042"_s, u"---"_s, u"Start Sharing"_s, u"Copy Room ID"_s, u"Copy PIN"_s,
                         u"Regenerate PIN"_s, u"---"_s, u"Allow Remote Control"_s, u"Allow Incoming Files"_s, u"---"_s,
                         u"Chat…"_s, u"---"_s, u"Quit Vantora"_s}));
}

TEST_F(TrayMenuTest, hasEnabledStatesMarksAndKeys) {
  const QList<DBusMenuLayout> rows = reader_->rows();
  ASSERT_EQ(rows.size(), 17);
  for (int i = 0; i < 17; ++i) {
    const QVariantMap& properties = rows.at(i).properties;
    EXPECT_EQ(rows.at(i).id, i + 1);
    if (properties.value(u"type"_s) == u"separator"_s) continue;
    EXPECT_EQ(properties.value(u"enabled"_s).toBool(), i >= 6) << i;
    const bool toggle = i == 11 || i == 12;
    EXPECT_EQ(properties.value(u"toggle-type"_s).toString(), toggle ? u"checkmark"_s : QString()) << i;
    EXPECT_EQ(properties.value(u"toggle-state"_s, -1).toInt(), toggle ? 1 : -1) << i;
    const auto keys = qdbus_cast<QList<QStringList>>(properties.value(u"shortcut"_s));
    EXPECT_EQ(keys, i == 16 ? (QList<QStringList>{{u"Control"_s, u"q"_s}}) : QList<QStringList>()) << i;
  }
}

TEST_F(TrayMenuTest, triggersEveryAction) {
  EXPECT_EQ(askedAfterClick(7), QStringList{u"startSharing"_s});
  EXPECT_EQ(askedAfterClick(8), QStringList());
  EXPECT_EQ(QGuiApplication::clipboard()->text(), u"desk-7"_s);
  EXPECT_EQ(askedAfterClick(9), QStringList());
  EXPECT_EQ(QGuiApplication::clipboard()->text(), u"000042"_s);
  EXPECT_EQ(askedAfterClick(10), QStringList{u"regeneratePIN"_s});
  EXPECT_EQ(askedAfterClick(12), QStringList{u"control 0"_s});
  EXPECT_EQ(askedAfterClick(13), QStringList{u"files 0"_s});
  EXPECT_FALSE(bar().chatWindow().isVisible());
  EXPECT_EQ(askedAfterClick(15), QStringList());
  EXPECT_TRUE(bar().chatWindow().isVisible());
  EXPECT_EQ(askedAfterClick(17), QStringList{u"quit"_s});
}

TEST_F(TrayMenuTest, doesNothingForLabelsAndSeparators) {
  for (const int id : {1, 2, 3, 4, 5, 6, 11, 14, 16}) EXPECT_EQ(askedAfterClick(id), QStringList()) << id;
  EXPECT_FALSE(bar().chatWindow().isVisible());
}

TEST_F(TrayMenuTest, locksTheNewPINAndSaysWhy) {
  session_.change([](HostState& shown) { shown.pinLockedByEnv = true; });
  const QVariantMap changed = announced(10);
  EXPECT_FALSE(changed.value(u"enabled"_s, true).toBool());
  EXPECT_EQ(changed.value(u"accessible-desc"_s).toString(), u"Locked by CONTROL_TOKEN env"_s);
  EXPECT_EQ(askedAfterClick(10), QStringList());
  reader_->signalNames();
  session_.change([](HostState& shown) { shown.pinLockedByEnv = false; });
  ASSERT_TRUE(waitFor([this] { return !reader_->receivedSignals().isEmpty(); }));
  const auto removed = qdbus_cast<QList<DBusMenuRemoved>>(reader_->receivedSignals().first().arguments().value(1));
  ASSERT_EQ(removed.size(), 1);
  EXPECT_EQ(removed.first().id, 10);
  EXPECT_EQ(removed.first().names, QStringList{u"accessible-desc"_s});
}

TEST_F(TrayMenuTest, updatesAnOpenMenuInPlace) {
  reader_->askMenu("Event", {0, u"opened"_s, QVariant::fromValue(QDBusVariant(0)), 0U});
  session_.change([](HostState& shown) {
    shown.iceState = IceState::connected;
    shown.sharingEnabled = true;
    shown.allowRemoteControl = false;
  });
  EXPECT_EQ(announced(2), (QVariantMap{{u"label"_s, u"Connection: connected"_s}}));
  EXPECT_EQ(announced(7), (QVariantMap{{u"label"_s, u"Stop Sharing"_s}}));
  EXPECT_EQ(announced(12), (QVariantMap{{u"toggle-state"_s, 0}}));
  settle();
  // No signal that would make a panel rebuild the menu under the pointer.
  EXPECT_FALSE(reader_->signalNames().contains(u"LayoutUpdated"_s));
  EXPECT_EQ(titles(reader_->rows()).at(6), u"Stop Sharing"_s);
  EXPECT_EQ(askedAfterClick(7), QStringList{u"stopSharing"_s});
}

TEST_F(TrayMenuTest, showsUnderscoresOfANameAsTheyAre) {
  session_.change([](HostState& shown) { shown.roomId = u"a_b"_s; });
  EXPECT_EQ(announced(4), (QVariantMap{{u"label"_s, u"Room: a__b"_s}}));
}

TEST_F(TrayMenuTest, reportsItsTextDirection) {
  const auto direction = [this] {
    return reader_
        ->ask("/MenuBar", "org.freedesktop.DBus.Properties", "Get", {u"com.canonical.dbusmenu"_s, u"TextDirection"_s})
        .arguments()
        .value(0)
        .value<QDBusVariant>()
        .variant()
        .toString();
  };
  EXPECT_EQ(direction(), u"ltr"_s);
  QGuiApplication::setLayoutDirection(Qt::RightToLeft);
  EXPECT_EQ(direction(), u"rtl"_s);
  QGuiApplication::setLayoutDirection(Qt::LeftToRight);
}

TEST_F(TrayMenuTest, answersForSingleRowsAndGroups) {
  const QDBusMessage one = reader_->askMenu("GetProperty", {15, u"label"_s});
  EXPECT_EQ(one.arguments().value(0).value<QDBusVariant>().variant().toString(), u"Chat…"_s);
  const QDBusMessage group =
      reader_->askMenu("GetGroupProperties", {QVariant::fromValue(QList<int>{7, 99, 15}), QStringList{u"label"_s}});
  const auto rows = qdbus_cast<QList<DBusMenuProperties>>(group.arguments().value(0));
  ASSERT_EQ(rows.size(), 2);
  EXPECT_EQ(rows.at(0).properties, (QVariantMap{{u"label"_s, u"Start Sharing"_s}}));
  EXPECT_EQ(rows.at(1).id, 15);
  const QDBusMessage leaf = reader_->askMenu("GetLayout", {15, 1, QStringList()});
  EXPECT_EQ(qdbus_cast<DBusMenuLayout>(leaf.arguments().value(1)).properties.value(u"label"_s), u"Chat…"_s);
  const QDBusMessage shallow = reader_->askMenu("GetLayout", {0, 0, QStringList()});
  EXPECT_TRUE(qdbus_cast<DBusMenuLayout>(shallow.arguments().value(1)).children.isEmpty());
  EXPECT_FALSE(reader_->askMenu("AboutToShow", {0}).arguments().value(0, true).toBool());
}

TEST_F(TrayMenuTest, takesEventsInGroups) {
  const QList<DBusMenuEvent> events{{7, u"clicked"_s, QDBusVariant(0), 0},
                                    {99, u"clicked"_s, QDBusVariant(0), 0},
                                    {13, u"clicked"_s, QDBusVariant(0), 0}};
  const QDBusMessage reply = reader_->askMenu("EventGroup", {QVariant::fromValue(events)});
  EXPECT_EQ(qdbus_cast<QList<int>>(reply.arguments().value(0)), QList<int>{99});
  settle();
  EXPECT_EQ(session_.taken(), (QStringList{u"startSharing"_s, u"files 0"_s}));
}

TEST_F(TrayMenuTest, answersInvalidCallsWithAnError) {
  for (const int id : {-1, 18, 1000000}) {
    EXPECT_EQ(reader_->click(id).type(), QDBusMessage::ErrorMessage) << id;
    EXPECT_EQ(reader_->askMenu("GetLayout", {id, -1, QStringList()}).type(), QDBusMessage::ErrorMessage) << id;
    EXPECT_EQ(reader_->askMenu("GetProperty", {id, u"label"_s}).type(), QDBusMessage::ErrorMessage) << id;
  }
  EXPECT_EQ(reader_->askMenu("GetProperty", {1, u"colour"_s}).type(), QDBusMessage::ErrorMessage);
  EXPECT_EQ(reader_->askMenu("Event", {u"x"_s}).type(), QDBusMessage::ReplyMessage);
  EXPECT_EQ(reader_->askMenu("GetGroupProperties", {u"x"_s}).type(), QDBusMessage::ReplyMessage);
  EXPECT_EQ(reader_->askMenu("EventGroup", {5}).type(), QDBusMessage::ReplyMessage);
  EXPECT_EQ(reader_->askMenu("Explode", {}).type(), QDBusMessage::ErrorMessage);
  EXPECT_EQ(session_.taken(), QStringList());
  EXPECT_EQ(reader_->rows().size(), 17);
}

}  // namespace
}  // namespace vantora
