#include "base/dbus/DBusObject.h"

#include <QDBusVariant>

namespace vantora {

using namespace Qt::Literals::StringLiterals;

DBusObject::DBusObject(const QDBusConnection& bus, const QString& path, const QString& interface,
                       const QString& description)
    : bus_(bus), path_(path), interface_(interface), description_(description) {
  bus_.registerVirtualObject(path_, this);
}

DBusObject::~DBusObject() { bus_.unregisterObject(path_); }

QString DBusObject::introspect(const QString&) const {
  return u"<interface name=\""_s + interface_ + u"\">"_s + description_ + u"</interface>"_s;
}

bool DBusObject::handleMessage(const QDBusMessage& message, const QDBusConnection& bus) {
  const QVariantList arguments = message.arguments();
  QDBusMessage reply;
  if (message.interface() == "org.freedesktop.DBus.Properties"_L1) {
    const QVariantMap values = properties();
    if (message.member() == "GetAll"_L1) {
      reply = message.createReply(QVariant(values));
    } else if (message.member() == "Get"_L1 && values.contains(arguments.value(1).toString())) {
      const QDBusVariant value(values.value(arguments.value(1).toString()));
      reply = message.createReply(QVariant::fromValue(value));
    } else {
      reply = message.createErrorReply(QDBusError::InvalidArgs, u"no such property to read"_s);
    }
  } else if (message.interface() == interface_ || message.interface().isEmpty()) {
    auto result = call(message.member(), arguments);
    reply = result ? message.createReply(*result)
                   : message.createErrorReply(QDBusError::InvalidArgs, u"no such method or arguments"_s);
  } else {
    return false;
  }
  if (message.isReplyRequired()) bus.send(reply);
  return true;
}

void DBusObject::emitSignal(const QString& name, const QVariantList& arguments) const {
  QDBusMessage signal = QDBusMessage::createSignal(path_, interface_, name);
  signal.setArguments(arguments);
  bus_.send(signal);
}

}  // namespace vantora
