#include "platform/portal/NotifyCalls.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <utility>

#include "base/dbus/DBusCall.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr uint kReleased = 0;
constexpr uint kPressed = 1;

}  // namespace

bool NotifyCalls::moveTo(std::uint32_t node, QPointF position, QPointF rest) {
  if (session_.path().isEmpty()) return false;
  waiting_ = {{u"NotifyPointerMotionAbsolute"_s, {node, position.x(), position.y()}}};
  if (!rest.isNull()) waiting_.push_back({u"NotifyPointerMotion"_s, {rest.x(), rest.y()}});
  if (unanswered_ < kMotionsAhead) sendWaiting();
  return true;
}

bool NotifyCalls::moveBy(QPointF distance) { return send({u"NotifyPointerMotion"_s, {distance.x(), distance.y()}}); }

bool NotifyCalls::pressButton(int button) { return send({u"NotifyPointerButton"_s, {button, kPressed}}); }

void NotifyCalls::releaseButton(int button) { sendRelease({u"NotifyPointerButton"_s, {button, kReleased}}); }

bool NotifyCalls::pressKey(int key) { return send({u"NotifyKeyboardKeycode"_s, {key, kPressed}}); }

void NotifyCalls::releaseKey(int key) { sendRelease({u"NotifyKeyboardKeycode"_s, {key, kReleased}}); }

bool NotifyCalls::scrollNotches(ScrollAxis axis, int notches) {
  return send({u"NotifyPointerAxisDiscrete"_s, {axis == ScrollAxis::vertical ? 0U : 1U, notches}});
}

bool NotifyCalls::scrollSmoothly(ScrollAxis axis, double units) {
  const QVariantList distance = axis == ScrollAxis::vertical ? QVariantList{0.0, units} : QVariantList{units, 0.0};
  return send({u"NotifyPointerAxis"_s, distance});
}

bool NotifyCalls::send(const Call& call) {
  if (session_.path().isEmpty() || unanswered_ >= kMaxUnanswered) return false;
  sendWaiting();
  sendNow(call);
  return true;
}

void NotifyCalls::sendRelease(const Call& call) {
  if (session_.path().isEmpty()) return;
  sendWaiting();
  sendNow(call);
}

void NotifyCalls::sendNow(const Call& call) {
  QDBusMessage message =
      QDBusMessage::createMethodCall(portal::kService, portal::kPath, portal::kRemoteDesktop, call.method);
  message.setArguments(QVariantList{QVariant::fromValue(QDBusObjectPath(session_.path())), QVariantMap()} +
                       call.arguments);
  ++unanswered_;
  callDBus(session_.bus(), message, context_.get(), [this](const QDBusMessage&) {
    --unanswered_;
    if (unanswered_ < kMotionsAhead) sendWaiting();
  });
}

// Before every other call: events take effect in the order in which they were made.
void NotifyCalls::sendWaiting() {
  for (const Call& call : std::exchange(waiting_, {})) sendNow(call);
}

void NotifyCalls::reset() {
  context_ = std::make_unique<QObject>();
  unanswered_ = 0;
  waiting_.clear();
}

}  // namespace vantora
