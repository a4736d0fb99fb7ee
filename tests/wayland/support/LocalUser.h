// The person at a Wayland desktop.
#pragma once

#include <linux/input-event-codes.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QString>
#include <QVariant>

#include "tests/wayland/support/WaylandDesktop.h"

namespace vantora::testwayland {

// A keyboard and a mouse of its own, as long as this object lives: a desktop without them would lose the first key that
// anybody presses.
class LocalUser {
 public:
  explicit LocalUser(const WaylandDesktop& desktop)
      : bus_(QDBusConnection::connectToBus(desktop.variable(QStringLiteral("DBUS_SESSION_BUS_ADDRESS")), name())) {
    const QDBusMessage reply = call(QStringLiteral("/org/gnome/Mutter/RemoteDesktop"), QString(), "CreateSession", {});
    session_ = reply.arguments().value(0).value<QDBusObjectPath>().path();
    if (session_.isEmpty()) return;
    notify("Start", {});
    movePointer(1, 0);
    movePointer(-1, 0);
    tapKey(KEY_UNKNOWN);
  }
  ~LocalUser() {
    // A compositor with an open session would not end.
    if (present()) notify("Stop", {});
    QDBusConnection::disconnectFromBus(name());
  }
  LocalUser(const LocalUser&) = delete;
  LocalUser& operator=(const LocalUser&) = delete;

  bool present() const { return !session_.isEmpty(); }
  void movePointer(double dx, double dy) { notify("NotifyPointerMotionRelative", {dx, dy}); }
  void key(uint code, bool down) { notify("NotifyKeyboardKeycode", {code, down}); }
  void tapKey(uint code) {
    key(code, true);
    key(code, false);
  }
  void button(int code, bool down) { notify("NotifyPointerButton", {code, down}); }

 private:
  static QString name() { return QStringLiteral("local-user"); }

  QDBusMessage call(const QString& path, const QString& suffix, const char* member, const QVariantList& arguments) {
    const QString service = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, service + suffix, QString::fromLatin1(member));
    message.setArguments(arguments);
    return bus_.call(message);
  }
  void notify(const char* member, const QVariantList& arguments) {
    (void)call(session_, QStringLiteral(".Session"), member, arguments);
  }

  QDBusConnection bus_;
  QString session_;
};

}  // namespace vantora::testwayland
