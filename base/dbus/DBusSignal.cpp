#include "base/dbus/DBusSignal.h"

namespace vantora {

DBusSignal::DBusSignal(const QDBusConnection& bus, const QString& path, const QString& interface, const QString& name,
                       Handler handler)
    : bus_(bus), path_(path), interface_(interface), name_(name), handler_(std::move(handler)) {
  bus_.connect(QString(), path_, interface_, name_, this, SLOT(received(QDBusMessage)));
}

DBusSignal::~DBusSignal() { bus_.disconnect(QString(), path_, interface_, name_, this, SLOT(received(QDBusMessage))); }

void DBusSignal::received(const QDBusMessage& message) { handler_(message); }

}  // namespace vantora
