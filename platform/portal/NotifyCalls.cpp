#include "platform/portal/NotifyCalls.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <algorithm>
#include <functional>
#include <utility>

#include "base/dbus/DBusCall.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr uint kReleased = 0;
constexpr uint kPressed = 1;

}  // namespace

// Nobody will receive the reply to the call before; the end of the session follows, which releases what is held anyway.
NotifyCalls::~NotifyCalls() {
  if (session_.path().isEmpty()) return;
  for (const Call& call : queue_) session_.bus().send(message(call));
}

QDBusMessage NotifyCalls::message(const Call& call) const {
  QDBusMessage message =
      QDBusMessage::createMethodCall(portal::kService, portal::kPath, portal::kRemoteDesktop, call.method);
  message.setArguments(QVariantList{QVariant::fromValue(QDBusObjectPath(session_.path())), QVariantMap()} +
                       call.arguments);
  return message;
}

void NotifyCalls::dropWaiting() {
  std::erase_if(queue_, [](const Call& call) { return !call.release; });
  motion_ = 0;
}

bool NotifyCalls::moveTo(std::uint32_t node, QPointF position, QPointF rest) {
  if (session_.path().isEmpty()) return false;
  queue_.erase(queue_.end() - static_cast<std::ptrdiff_t>(motion_), queue_.end());
  queue_.push_back({u"NotifyPointerMotionAbsolute"_s, {node, position.x(), position.y()}});
  motion_ = 1;
  if (!rest.isNull()) {
    queue_.push_back({u"NotifyPointerMotion"_s, {rest.x(), rest.y()}});
    motion_ = 2;
  }
  sendNext();
  return true;
}

bool NotifyCalls::moveBy(QPointF distance) { return send({u"NotifyPointerMotion"_s, {distance.x(), distance.y()}}); }

bool NotifyCalls::pressButton(int button) { return send({u"NotifyPointerButton"_s, {button, kPressed}}); }

void NotifyCalls::releaseButton(int button) { sendRelease({u"NotifyPointerButton"_s, {button, kReleased}, true}); }

bool NotifyCalls::pressKey(int key) { return send({u"NotifyKeyboardKeycode"_s, {key, kPressed}}); }

void NotifyCalls::releaseKey(int key) { sendRelease({u"NotifyKeyboardKeycode"_s, {key, kReleased}, true}); }

bool NotifyCalls::tapSymbol(std::uint32_t keysym) {
  const auto symbol = static_cast<int>(keysym);
  if (!send({u"NotifyKeyboardKeysym"_s, {symbol, kPressed}})) return false;
  sendRelease({u"NotifyKeyboardKeysym"_s, {symbol, kReleased}, true});
  return true;
}

bool NotifyCalls::busy() const {
  constexpr std::size_t kFewCalls = 32;
  return queue_.size() > kFewCalls;
}

bool NotifyCalls::delivered() const {
  return !(unanswered_ && unansweredKey_) && std::none_of(queue_.begin(), queue_.end(), std::mem_fn(&Call::isKey));
}

bool NotifyCalls::scrollNotches(ScrollAxis axis, int notches) {
  return send({u"NotifyPointerAxisDiscrete"_s, {axis == ScrollAxis::vertical ? 0U : 1U, notches}});
}

bool NotifyCalls::scrollSmoothly(ScrollAxis axis, double units) {
  const QVariantList distance = axis == ScrollAxis::vertical ? QVariantList{0.0, units} : QVariantList{units, 0.0};
  return send({u"NotifyPointerAxis"_s, distance});
}

bool NotifyCalls::send(const Call& call) {
  if (session_.path().isEmpty() || queue_.size() >= kMaxQueued) return false;
  enqueue(call);
  return true;
}

void NotifyCalls::sendRelease(const Call& call) {
  if (!session_.path().isEmpty()) enqueue(call);
}

void NotifyCalls::enqueue(const Call& call) {
  queue_.push_back(call);
  motion_ = 0;
  sendNext();
}

void NotifyCalls::sendNext() {
  if (unanswered_ || queue_.empty()) return;
  const Call call = std::move(queue_.front());
  queue_.pop_front();
  motion_ = std::min(motion_, queue_.size());
  unanswered_ = true;
  unansweredKey_ = call.isKey();
  callDBus(session_.bus(), message(call), context_.get(), [this](const QDBusMessage& reply) {
    unanswered_ = false;
    // What was meant for a moment long ago would surprise the user.
    if (reply.errorName() == "org.freedesktop.DBus.Error.NoReply"_L1) dropWaiting();
    sendNext();
  });
}

void NotifyCalls::reset() {
  context_ = std::make_unique<QObject>();
  unanswered_ = false;
  queue_.clear();
  motion_ = 0;
}

}  // namespace vantora
