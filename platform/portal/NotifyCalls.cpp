#include "platform/portal/NotifyCalls.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <utility>

#include "base/dbus/DBusCall.h"

namespace vantora {

bool NotifyCalls::send(const QString& method, const QVariantList& arguments) {
  if (session_.path().isEmpty() || unanswered_ >= kMaxUnanswered) return false;
  sendWaiting();
  sendNow(method, arguments);
  return true;
}

void NotifyCalls::sendRelease(const QString& method, const QVariantList& arguments) {
  if (session_.path().isEmpty()) return;
  sendWaiting();
  sendNow(method, arguments);
}

void NotifyCalls::sendNow(const QString& method, const QVariantList& arguments) {
  QDBusMessage call = QDBusMessage::createMethodCall(portal::kService, portal::kPath, portal::kRemoteDesktop, method);
  call.setArguments(QVariantList{QVariant::fromValue(QDBusObjectPath(session_.path())), QVariantMap()} + arguments);
  ++unanswered_;
  callDBus(session_.bus(), call, context_.get(), [this](const QDBusMessage&) {
    --unanswered_;
    if (unanswered_ < kMotionsAhead) sendWaiting();
  });
}

bool NotifyCalls::sendMotion(std::vector<Call> motion) {
  if (session_.path().isEmpty()) return false;
  waiting_ = std::move(motion);
  if (unanswered_ < kMotionsAhead) sendWaiting();
  return true;
}

// Before every other call: events take effect in the order in which they were made.
void NotifyCalls::sendWaiting() {
  for (const Call& call : std::exchange(waiting_, {})) sendNow(call.method, call.arguments);
}

void NotifyCalls::reset() {
  context_ = std::make_unique<QObject>();
  unanswered_ = 0;
  waiting_.clear();
}

}  // namespace vantora
