#include "main/ui/UserNotifications.h"

#include <QElapsedTimer>
#include <QTimer>
#include <QUuid>

#include "base/Log.h"
#include "base/dbus/DBusCall.h"
#include "main/ui/BringToFront.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr auto kService = "org.freedesktop.Notifications"_L1;
constexpr auto kPath = "/org/freedesktop/Notifications"_L1;
constexpr int kDelayMs = 100;
constexpr int kCapabilitiesTimeoutMs = 3000;
// Qt's timers may fire 5 % too early.
constexpr int kTimerTolerance = 10;
constexpr qsizetype kMaxRemembered = 1000;
// More text than any server shows.
constexpr qsizetype kLongestText = 4000;

QDBusMessage serverCall(const QString& method) {
  return QDBusMessage::createMethodCall(kService, kPath, kService, method);
}

QString bounded(QString text) {
  text.truncate(kLongestText);
  if (!text.isEmpty() && text.back().isHighSurrogate()) text.chop(1);
  return text.remove(QChar::Null);
}

}  // namespace

UserNotifications::UserNotifications(const QDBusConnection& bus, const InfoDictionary& info,
                                     std::function<void()> clicked, int timeoutMs)
    : bus_(bus),
      applicationName_(info.displayName()),
      identifier_(info.bundleIdentifier()),
      clicked_(std::move(clicked)),
      timeoutMs_(timeoutMs) {
  if (!bus_.isConnected()) return;
  action_ = std::make_unique<DBusSignal>(bus_, kPath, kService, u"ActionInvoked"_s,
                                         [this](const QDBusMessage& signal) { pressed(signal); });
  closed_ = std::make_unique<DBusSignal>(
      bus_, kPath, kService, u"NotificationClosed"_s,
      [this](const QDBusMessage& signal) { forget(signal.arguments().value(0).toUInt()); });
  token_ =
      std::make_unique<DBusSignal>(bus_, kPath, kService, u"ActivationToken"_s, [this](const QDBusMessage& signal) {
        if (!ours_.contains(signal.arguments().value(0).toUInt())) return;
        keepActivationToken(signal.arguments().value(1).toString());
      });
  presence_ = std::make_unique<DBusNameWatcher>(bus_, kService, [this](bool) {
    // Another server: capabilities and notifications of the old one no longer apply.
    markup_.reset();
    ours_.clear();
  });
}

void UserNotifications::deliverHostNotification(const QString& title, const QString& body) {
  const Waiting notification{bounded(title), bounded(body)};
  if (!identifier_) {
    add(notification);
    return;
  }
  QTimer::singleShot(kDelayMs, &context_, [this, notification] { add(notification); });
}

void UserNotifications::add(const Waiting& notification) {
  if (!bus_.isConnected()) return failed(u"there is no session bus"_s);
  if (waiting_.size() >= kMaxWaiting) return failed(u"too many notifications wait"_s);
  waiting_.enqueue(notification);
  sendWaiting();
}

void UserNotifications::sendWaiting() {
  while (!waiting_.isEmpty() && unanswered_ < kMaxUnanswered) {
    if (!markup_) return queryCapabilities();
    send(waiting_.dequeue());
  }
}

void UserNotifications::dropWaiting() {
  for (qsizetype left = waiting_.size(); left > 0; --left) failed(u"the notification server does not answer"_s);
  waiting_.clear();
}

void UserNotifications::queryCapabilities() {
  if (std::exchange(asking_, true)) return;
  callDBus(
      bus_, serverCall(u"GetCapabilities"_s), &context_,
      [this](const QDBusMessage& reply) {
        asking_ = false;
        const bool answered = reply.type() == QDBusMessage::ReplyMessage;
        // Without a reply the usual case is assumed, and the next notification asks again.
        const bool markup = !answered || reply.arguments().value(0).toStringList().contains(u"body-markup"_s);
        markup_ = markup;
        sendWaiting();
        if (!answered) markup_.reset();
      },
      kCapabilitiesTimeoutMs);
}

void UserNotifications::send(const Waiting& notification) {
  QVariantMap hints{{u"desktop-entry"_s, u"vantora-host"_s},
                    {u"category"_s, u"im.received"_s},
                    {u"urgency"_s, QVariant::fromValue(uchar{1})},
                    {u"sound-name"_s, u"message-new-instant"_s}};
  if (identifier_) {
    hints.insert(u"x-vantora-application"_s, *identifier_);
    const QString uuid = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    hints.insert(u"x-vantora-identifier"_s, u"vantora.chat."_s + uuid);
  }
  constexpr uint kReplacesNothing = 0;
  constexpr int kServerDefaultTimeout = -1;
  QDBusMessage call = serverCall(u"Notify"_s);
  call.setArguments({applicationName_, kReplacesNothing, u"preferences-desktop-remote-desktop"_s, notification.title,
                     *markup_ ? notification.body.toHtmlEscaped() : notification.body,
                     QStringList{u"default"_s, u"Open"_s}, hints, kServerDefaultTimeout});
  ++unanswered_;
  QElapsedTimer sent;
  sent.start();
  const auto answered = [this, sent, repliesBefore = replies_](const QDBusMessage& reply) {
    --unanswered_;
    if (reply.type() == QDBusMessage::ReplyMessage) {
      ++replies_;
      ours_.append(reply.arguments().value(0).toUInt());
      if (ours_.size() > kMaxRemembered) ours_.removeFirst();
    } else {
      failed(reply.errorMessage());
      // No reply since this one was sent: the server hangs.
      if (replies_ == repliesBefore && sent.hasExpired(timeoutMs_ - timeoutMs_ / kTimerTolerance)) dropWaiting();
    }
    sendWaiting();
  };
  callDBus(bus_, call, &context_, answered, timeoutMs_);
}

void UserNotifications::failed(const QString& reason) const {
  if (identifier_) logLine(u"[notify] add error: "_s + reason);
}

void UserNotifications::pressed(const QDBusMessage& signal) {
  const uint id = signal.arguments().value(0).toUInt();
  if (!ours_.contains(id)) return;
  forget(id);
  clicked_();
}

void UserNotifications::forget(uint id) { ours_.removeOne(id); }

}  // namespace vantora
