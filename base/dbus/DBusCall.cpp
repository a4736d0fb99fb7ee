#include "base/dbus/DBusCall.h"

#include <QDBusError>
#include <QDBusPendingCallWatcher>
#include <QTimer>
#include <algorithm>

namespace vantora {
namespace {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

constexpr auto kPause = 1s;
constexpr std::chrono::milliseconds kMaxTimeout = 60s;

// Whether `reply` is an error that only reports a missing reply.
bool isTimeout(const QDBusMessage& reply) {
  if (reply.type() != QDBusMessage::ErrorMessage) return false;
  const QDBusError::ErrorType error = QDBusError(reply).type();
  return error == QDBusError::NoReply || error == QDBusError::Timeout || error == QDBusError::TimedOut;
}

}  // namespace

void callDBus(const QDBusConnection& bus, const QDBusMessage& call, QObject* context,
              std::function<void(const QDBusMessage& reply)> done, int timeoutMs) {
  auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, timeoutMs), context);
  QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context,
                   [done = std::move(done)](QDBusPendingCallWatcher* finished) {
                     finished->deleteLater();
                     if (done) done(finished->reply());
                   });
}

void askDBus(const QDBusConnection& bus, const QDBusMessage& call, QObject* context,
             std::function<void(const QDBusMessage& reply)> done, std::chrono::milliseconds timeout) {
  const auto received = [bus, call, context, timeout, done = std::move(done)](const QDBusMessage& reply) {
    if (!isTimeout(reply)) return done(reply);
    QTimer::singleShot(kPause, context, [bus, call, context, timeout, done] {
      askDBus(bus, call, context, done, std::min(2 * timeout, kMaxTimeout));
    });
  };
  callDBus(bus, call, context, received, static_cast<int>(timeout.count()));
}

QDBusMessage dbusDaemonCall(const QString& method, const QVariantList& arguments) {
  QDBusMessage call = QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                                     u"org.freedesktop.DBus"_s, method);
  call.setArguments(arguments);
  return call;
}

}  // namespace vantora
