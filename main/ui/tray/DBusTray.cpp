#include "main/ui/tray/DBusTray.h"

#include <QCoreApplication>
#include <QDBusVariant>

#include "base/dbus/DBusCall.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr auto kWatcher = "org.kde.StatusNotifierWatcher"_L1;
constexpr auto kWatcherPath = "/StatusNotifierWatcher"_L1;

QDBusMessage watcherCall(const QString& interface, const QString& method, const QVariantList& arguments) {
  QDBusMessage call = QDBusMessage::createMethodCall(kWatcher, kWatcherPath, interface, method);
  call.setArguments(arguments);
  call.setAutoStartService(false);
  return call;
}

}  // namespace

DBusTray::DBusTray(const QDBusConnection& bus, Handlers handlers, std::chrono::milliseconds timeout)
    : bus_(bus),
      handlers_(std::move(handlers)),
      timeout_(timeout),
      item_(bus, handlers_.activated),
      menu_(bus, handlers_.triggered),
      serviceName_(u"org.kde.StatusNotifierItem-%1-1"_s.arg(QCoreApplication::applicationPid())) {
  if (!bus.isConnected()) {
    QMetaObject::invokeMethod(
        &context_, [this] { setShown(false); }, Qt::QueuedConnection);
    return;
  }
  constexpr uint kDoNotQueue = 4;
  callDBus(bus_, dbusDaemonCall(u"RequestName"_s, {serviceName_, kDoNotQueue}), &context_, {});
  const auto onHost = [this](const QDBusMessage&) { queryHost(); };
  hostRegistered_ =
      std::make_unique<DBusSignal>(bus_, kWatcherPath, kWatcher, u"StatusNotifierHostRegistered"_s, onHost);
  hostUnregistered_ =
      std::make_unique<DBusSignal>(bus_, kWatcherPath, kWatcher, u"StatusNotifierHostUnregistered"_s, onHost);
  presence_ = std::make_unique<DBusNameWatcher>(bus_, kWatcher, [this](bool present) { watcherChanged(present); });
}

void DBusTray::watcherChanged(bool present) {
  if (!present) {
    query_.reset();
    setShown(false);
    return;
  }
  callDBus(bus_, watcherCall(kWatcher, u"RegisterStatusNotifierItem"_s, {serviceName_}), &context_, {});
  queryHost();
}

// A watcher only keeps a list; a host must show it. If the watcher does not reply (its panel hangs), nothing changes:
// the other kind of tray is no alternative then, because its library would block on the same watcher.
void DBusTray::queryHost() {
  const QDBusMessage call =
      watcherCall(u"org.freedesktop.DBus.Properties"_s, u"Get"_s, {kWatcher, u"IsStatusNotifierHostRegistered"_s});
  query_ = std::make_unique<QObject>();  // Ends an earlier query.
  const auto answered = [this](const QDBusMessage& reply) {
    const bool known = reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty();
    setShown(known && reply.arguments().constFirst().value<QDBusVariant>().variant().toBool());
  };
  askDBus(bus_, call, query_.get(), answered, timeout_);
}

void DBusTray::setShown(bool shown) {
  if (shown_ == shown) return;
  shown_ = shown;
  handlers_.shown(shown);
}

}  // namespace vantora
