#include "main/ui/UserNotifications.h"

#include <QElapsedTimer>
#include <QTimer>
#include <QUuid>

#include "base/Log.h"
#include "main/ui/BringToFront.h"
#include "main/ui/dbus/DBusCall.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr auto kService = "org.freedesktop.Notifications"_L1;
constexpr auto kPath = "/org/freedesktop/Notifications"_L1;
constexpr int kDelayMs = 100;
constexpr int kAbilitiesTimeoutMs = 3000;
// Qt's timers may fire a twentieth too early.
constexpr int kTimerTolerance = 10;
constexpr qsizetype kMostRemembered = 1000;
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
  presence_ = std::make_unique<DBusPresence>(bus_, kService, [this](bool) {
    // Another server: what the old one could and showed is gone.
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
  if (waiting_.size() >= kMostWaiting) return failed(u"too many notifications wait"_s);
  waiting_.enqueue(notification);
  sendWaiting();
}

void UserNotifications::sendWaiting() {
  while (!waiting_.isEmpty() && unanswered_ < kMostUnanswered) {
    if (!markup_) return askAbilities();
    send(waiting_.dequeue());
  }
}

void UserNotifications::giveUpWaiting() {
  for (qsizetype left = waiting_.size(); left > 0; --left) failed(u"the notification server does not answer"_s);
  waiting_.clear();
}

void UserNotifications::askAbilities() {
  if (std::exchange(asking_, true)) return;
  callDBus(
      bus_, serverCall(u"GetCapabilities"_s), &context_,
      [this](const QDBusMessage& reply) {
        asking_ = false;
        const bool answered = reply.type() == QDBusMessage::ReplyMessage;
        // Of one that does not say, the more usual is taken, and it is asked again next time.
        const bool markup = !answered || reply.arguments().value(0).toStringList().contains(u"body-markup"_s);
        markup_ = markup;
        sendWaiting();
        if (!answered) markup_.reset();
      },
      kAbilitiesTimeoutMs);
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
  constexpr uint kReplacesNone = 0;
  constexpr int kServersOwnTime = -1;
  QDBusMessage call = serverCall(u"Notify"_s);
  call.setArguments({applicationName_, kReplacesNone, u"preferences-desktop-remote-desktop"_s, notification.title,
                     *markup_ ? notification.body.toHtmlEscaped() : notification.body,
                     QStringList{u"default"_s, u"Open"_s}, hints, kServersOwnTime});
  ++unanswered_;
  QElapsedTimer sent;
  sent.start();
  const auto answered = [this, sent, answersBefore = answers_](const QDBusMessage& reply) {
    --unanswered_;
    if (reply.type() == QDBusMessage::ReplyMessage) {
      ++answers_;
      ours_.append(reply.arguments().value(0).toUInt());
      if (ours_.size() > kMostRemembered) ours_.removeFirst();
    } else {
      failed(reply.errorMessage());
      // Nothing has come since, this one included: a server that hangs.
      if (answers_ == answersBefore && sent.hasExpired(timeoutMs_ - timeoutMs_ / kTimerTolerance)) giveUpWaiting();
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
