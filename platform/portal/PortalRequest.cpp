#include "platform/portal/PortalRequest.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QRandomGenerator>
#include <QTimer>
#include <utility>

#include "base/dbus/DBusCall.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

namespace {

const QString kRequest = u"org.freedesktop.portal.Request"_s;

PortalResponse responseIn(const QDBusMessage& signal) {
  const QVariantList arguments = signal.arguments();
  if (signal.signature() != "ua{sv}"_L1) return {.error = u"the portal sent an unknown response"_s};
  const uint code = arguments.at(0).toUInt();
  PortalResponse response{.results = qdbus_cast<QVariantMap>(arguments.at(1))};
  constexpr uint kSuccess = 0;
  constexpr uint kCancelled = 1;
  if (code == kSuccess) {
    response.outcome = PortalResponse::Outcome::success;
  } else if (code == kCancelled) {
    response.outcome = PortalResponse::Outcome::cancelled;
  } else {
    response.error = u"the portal ended the request"_s;
  }
  return response;
}

}  // namespace

namespace portal {

QString freshToken() {
  static quint32 count = 0;
  return u"vantora%1_%2"_s.arg(++count).arg(QRandomGenerator::system()->generate64(), 0, 16);
}

QString objectPath(const QDBusConnection& bus, const QString& kind, const QString& token) {
  QString sender = bus.baseService().mid(1);
  sender.replace(u'.', u'_');
  return u"%1/%2/%3/%4"_s.arg(kPath, kind, sender, token);
}

}  // namespace portal

PortalRequest::PortalRequest(const QDBusConnection& bus, const QString& interface, const QString& method,
                             const QVariantList& arguments, QVariantMap options, std::chrono::milliseconds timeout,
                             Answered answered)
    : bus_(bus), answered_(std::move(answered)) {
  const QString token = portal::freshToken();
  options.insert(u"handle_token"_s, token);
  // Before the call: the response may be sent before the reply to the call.
  path_ = portal::objectPath(bus_, u"request"_s, token);
  response_ = std::make_unique<DBusSignal>(bus_, path_, kRequest, u"Response"_s,
                                           [this](const QDBusMessage& signal) { finish(responseIn(signal)); });
  QDBusMessage call = QDBusMessage::createMethodCall(portal::kService, portal::kPath, interface, method);
  call.setArguments(arguments + QVariantList{options});
  constexpr int kCallTimeoutMs = 25'000;
  callDBus(
      bus_, call, &context_,
      [this](const QDBusMessage& reply) {
        if (reply.type() == QDBusMessage::ErrorMessage) finish({.error = reply.errorMessage()});
      },
      kCallTimeoutMs);
  if (timeout.count() > 0) {
    QTimer::singleShot(timeout, &context_, [this] { finish({.error = u"the portal does not respond"_s}); });
  }
}

PortalRequest::~PortalRequest() {
  if (!answered_) return;
  bus_.send(QDBusMessage::createMethodCall(portal::kService, path_, kRequest, u"Close"_s));
}

void PortalRequest::finish(PortalResponse response) {
  if (!answered_) return;
  // Later, since the caller may destroy this object, and with it the signal that is being delivered.
  QTimer::singleShot(0, &context_, [answered = std::exchange(answered_, nullptr), response = std::move(response)] {
    answered(response);
  });
}

}  // namespace vantora
