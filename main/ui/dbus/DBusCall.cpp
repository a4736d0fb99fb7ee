#include "main/ui/dbus/DBusCall.h"

#include <QDBusPendingCallWatcher>

namespace vantora {

using namespace Qt::Literals::StringLiterals;

void callDBus(const QDBusConnection& bus, const QDBusMessage& call, QObject* context,
              std::function<void(const QDBusMessage& reply)> done, int timeoutMs) {
  auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, timeoutMs), context);
  QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context,
                   [done = std::move(done)](QDBusPendingCallWatcher* finished) {
                     finished->deleteLater();
                     if (done) done(finished->reply());
                   });
}

QDBusMessage dbusDaemonCall(const QString& method, const QVariantList& arguments) {
  QDBusMessage call = QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                                     u"org.freedesktop.DBus"_s, method);
  call.setArguments(arguments);
  return call;
}

}  // namespace vantora
