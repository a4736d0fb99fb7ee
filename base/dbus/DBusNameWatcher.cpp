#include "base/dbus/DBusNameWatcher.h"

#include "base/dbus/DBusCall.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

DBusNameWatcher::DBusNameWatcher(const QDBusConnection& bus, const QString& name, const Changed& changed)
    : watcher_(name, bus, QDBusServiceWatcher::WatchForOwnerChange) {
  QObject::connect(&watcher_, &QDBusServiceWatcher::serviceOwnerChanged, &watcher_,
                   [changed](const QString&, const QString&, const QString& owner) { changed(!owner.isEmpty()); });
  askDBus(bus, dbusDaemonCall(u"NameHasOwner"_s, {name}), &watcher_, [changed](const QDBusMessage& reply) {
    const bool known = reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty();
    changed(known && reply.arguments().constFirst().toBool());
  });
}

}  // namespace vantora
