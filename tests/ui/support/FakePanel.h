// A desktop's panel: keeps the list of tray items, and reads an item and its menu as a real one does.
#pragma once

#include <QDBusVariant>
#include <QStringList>
#include <algorithm>
#include <optional>
#include <utility>

#include "base/dbus/DBusCall.h"
#include "base/dbus/DBusObject.h"
#include "base/dbus/DBusSignal.h"
#include "main/ui/tray/DBusMenuTypes.h"
#include "tests/fakes/EventLoop.h"

namespace vantora::testui {

// The list of items (org.kde.StatusNotifierWatcher).
class FakeWatcher final : public DBusObject {
 public:
  explicit FakeWatcher(const QDBusConnection& bus, bool hostRegistered = true)
      : DBusObject(bus, QStringLiteral("/StatusNotifierWatcher"), name(), {}),
        connection_(bus),
        hostRegistered_(hostRegistered) {
    connection_.registerService(name());
  }
  ~FakeWatcher() override { connection_.unregisterService(name()); }
  static QString name() { return QStringLiteral("org.kde.StatusNotifierWatcher"); }

  // Names of the items, in the order of registration.
  const QStringList& items() const { return items_; }
  // Hangs: messages from now on are kept without a reply.
  void stop() { stopped_ = true; }
  // Continues with the kept messages.
  void goOn() {
    stopped_ = false;
    for (const QDBusMessage& message : std::exchange(kept_, {})) DBusObject::handleMessage(message, connection_);
  }
  // How many kept messages call `member`.
  qsizetype kept(const QString& member) const {
    return std::ranges::count(kept_, member, [](const QDBusMessage& message) { return message.member(); });
  }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
    if (!stopped_) return DBusObject::handleMessage(message, bus);
    message.setDelayedReply(true);
    kept_.append(message);
    return true;
  }
  // A host that shows the items registers or unregisters.
  void setHostRegistered(bool registered) {
    hostRegistered_ = registered;
    emitSignal(registered ? QStringLiteral("StatusNotifierHostRegistered")
                          : QStringLiteral("StatusNotifierHostUnregistered"));
  }

 private:
  std::optional<QVariantList> call(const QString& method, const QVariantList& arguments) override {
    if (method != QStringLiteral("RegisterStatusNotifierItem")) return std::nullopt;
    items_.append(arguments.value(0).toString());
    return QVariantList();
  }
  QVariantMap properties() const override {
    return {{QStringLiteral("IsStatusNotifierHostRegistered"), hostRegistered_}};
  }

  QDBusConnection connection_;
  bool hostRegistered_;
  bool stopped_ = false;
  QList<QDBusMessage> kept_;
  QStringList items_;
};

// Reads one item and its menu, and receives their signals.
class ItemReader {
 public:
  ItemReader(const QDBusConnection& bus, const QString& service) : bus_(bus), service_(service) {
    registerDBusMenuTypes();
    for (const char* name : {"NewIcon", "NewToolTip", "NewStatus", "NewTitle"}) {
      listen("/StatusNotifierItem", "org.kde.StatusNotifierItem", name);
    }
    for (const char* name : {"LayoutUpdated", "ItemsPropertiesUpdated"}) {
      listen("/MenuBar", "com.canonical.dbusmenu", name);
    }
  }

  // The reply to a call; an error message when it failed or timed out.
  QDBusMessage ask(const char* path, const char* interface, const char* method, const QVariantList& arguments) {
    QDBusMessage call = QDBusMessage::createMethodCall(service_, QString::fromLatin1(path),
                                                       QString::fromLatin1(interface), QString::fromLatin1(method));
    call.setArguments(arguments);
    std::optional<QDBusMessage> answer;
    callDBus(bus_, call, &context_, [&answer](const QDBusMessage& reply) { answer = reply; });
    static_cast<void>(testloop::waitFor([&answer] { return answer.has_value(); }));
    return answer.value_or(QDBusMessage());
  }
  QDBusMessage askMenu(const char* method, const QVariantList& arguments) {
    return ask("/MenuBar", "com.canonical.dbusmenu", method, arguments);
  }
  QDBusMessage askItem(const char* method, const QVariantList& arguments) {
    return ask("/StatusNotifierItem", "org.kde.StatusNotifierItem", method, arguments);
  }
  QVariant property(const char* name) {
    const QDBusMessage reply = ask("/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Get",
                                   {QStringLiteral("org.kde.StatusNotifierItem"), QString::fromLatin1(name)});
    return reply.arguments().value(0).value<QDBusVariant>().variant();
  }
  QList<DBusImage> icon() { return qdbus_cast<QList<DBusImage>>(property("IconPixmap")); }
  QString toolTip() { return qdbus_cast<DBusToolTip>(property("ToolTip")).title; }

  // The rows of the menu as the panel gets them, all properties.
  QList<DBusMenuLayout> rows() {
    const QDBusMessage reply = askMenu("GetLayout", {0, -1, QStringList()});
    const auto root = qdbus_cast<DBusMenuLayout>(reply.arguments().value(1));
    QList<DBusMenuLayout> rows;
    for (const QDBusVariant& child : root.children) rows.append(qdbus_cast<DBusMenuLayout>(child.variant()));
    return rows;
  }
  // The number of the row titled `label`; 0 when there is none.
  int rowTitled(const QString& label) {
    for (const DBusMenuLayout& row : rows()) {
      if (row.properties.value(QStringLiteral("label")).toString() == label) return row.id;
    }
    return 0;
  }
  // Clicks a row.
  QDBusMessage click(int id) {
    return askMenu("Event", {id, QStringLiteral("clicked"), QVariant::fromValue(QDBusVariant(QString())), 0U});
  }

  // Names of the signals received since the last call.
  QStringList signalNames() {
    QStringList names;
    for (const QDBusMessage& signal : std::exchange(received_, {})) names.append(signal.member());
    return names;
  }
  const QList<QDBusMessage>& receivedSignals() const { return received_; }

 private:
  void listen(const char* path, const char* interface, const char* name) {
    listeners_.push_back(std::make_unique<DBusSignal>(
        bus_, QString::fromLatin1(path), QString::fromLatin1(interface), QString::fromLatin1(name),
        [this](const QDBusMessage& signal) { received_.append(signal); }));
  }

  QDBusConnection bus_;
  const QString service_;
  QList<QDBusMessage> received_;
  std::vector<std::unique_ptr<DBusSignal>> listeners_;
  QObject context_;
};

}  // namespace vantora::testui
