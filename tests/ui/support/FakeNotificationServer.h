// A fake notification server of the desktop.
#pragma once

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QStringList>
#include <QVariantMap>
#include <functional>

namespace vantora::testui {

struct ShownNotification {
  QString application;
  uint replaces = 0;
  QString icon;
  QString title;
  QString body;
  QStringList actions;
  QVariantMap hints;
  int timeout = 0;
  uint id = 0;
};

// org.freedesktop.Notifications from construction to destruction.
class FakeNotificationServer final : public QDBusVirtualObject {
 public:
  explicit FakeNotificationServer(const QDBusConnection& bus,
                                  QStringList abilities = {QStringLiteral("body"), QStringLiteral("actions")})
      : bus_(bus), abilities_(std::move(abilities)) {
    bus_.registerVirtualObject(path(), this);
    bus_.registerService(name());
  }
  ~FakeNotificationServer() override {
    bus_.unregisterService(name());
    bus_.unregisterObject(path());
  }
  static QString name() { return QStringLiteral("org.freedesktop.Notifications"); }
  static QString path() { return QStringLiteral("/org/freedesktop/Notifications"); }

  // The notifications to show, in order.
  const QList<ShownNotification>& shown() const { return shown_; }
  int askedForAbilities() const { return asked_; }
  // Called for each of them.
  std::function<void(const ShownNotification&)> listener;
  // From now on no call gets a reply.
  void fallSilent() { silent_ = true; }

  void press(uint id, const QString& action = QStringLiteral("default")) {
    signal(QStringLiteral("ActionInvoked"), {id, action});
  }
  void close(uint id) { signal(QStringLiteral("NotificationClosed"), {id, 2U}); }

  QString introspect(const QString&) const override { return {}; }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
    const QVariantList in = message.arguments();
    QDBusMessage reply;
    if (message.member() == QStringLiteral("GetCapabilities")) {
      ++asked_;
      reply = message.createReply(abilities_);
    } else if (message.member() == QStringLiteral("Notify")) {
      shown_.append({in.value(0).toString(), in.value(1).toUInt(), in.value(2).toString(), in.value(3).toString(),
                     in.value(4).toString(), in.value(5).toStringList(), qdbus_cast<QVariantMap>(in.value(6)),
                     in.value(7).toInt(), ++lastId_});
      if (listener) listener(shown_.last());
      reply = message.createReply(lastId_);
    } else {
      return false;
    }
    if (silent_) {
      message.setDelayedReply(true);
    } else {
      bus.send(reply);
    }
    return true;
  }

 private:
  void signal(const QString& signalName, const QVariantList& arguments) {
    QDBusMessage message = QDBusMessage::createSignal(path(), name(), signalName);
    message.setArguments(arguments);
    bus_.send(message);
  }

  QDBusConnection bus_;
  const QStringList abilities_;
  QList<ShownNotification> shown_;
  int asked_ = 0;
  uint lastId_ = 100;
  bool silent_ = false;
};

}  // namespace vantora::testui
