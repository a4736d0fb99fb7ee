#include "main/control/authorisation/ControlAuthorisation.h"

#include "base/Log.h"
#include "main/control/authorisation/Pin.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

QString trueOrFalse(bool value) { return value ? u"true"_s : u"false"_s; }

}  // namespace

ControlAuthorisation::ControlAuthorisation(Settings settings, ControlSender& sender, Callbacks callbacks)
    : settings_(std::move(settings)), sender_(sender), callbacks_(std::move(callbacks)) {}

bool ControlAuthorisation::isDemoRoom() const { return settings_.roomId == "demo"_L1; }

ControlRights ControlAuthorisation::rights() const {
  return {.allowRemoteControl = allowRemoteControl_,
          .controlAuthed = controlAuthed_,
          .controlEnabled = controlEnabled_,
          .demoRoom = isDemoRoom()};
}

void ControlAuthorisation::setControlEnabled(bool enabled) {
  const bool ended = controlEnabled_ && !enabled;
  controlEnabled_ = enabled;
  if (ended) callbacks_.controlEnded();
}

JsonObject ControlAuthorisation::controlState() const {
  return {{u"type"_s, u"control_state"_s}, {u"enabled"_s, controlEnabled_}};
}

void ControlAuthorisation::regeneratePIN() {
  if (settings_.pinLockedByEnv) return;
  settings_.controlPIN = makePin(callbacks_.random);
  logLine(u"[control] new PIN: "_s + settings_.controlPIN);
}

void ControlAuthorisation::setAllowRemoteControl(bool allow) {
  allowRemoteControl_ = allow;
  if (!allow) endControl();
}

void ControlAuthorisation::desktopClosed() {
  endControl();
  ++question_;
  answerWaiting(false);
}

void ControlAuthorisation::endControl() {
  if (!controlEnabled_) return;
  setControlEnabled(false);
  notifyControlState();
}

void ControlAuthorisation::notifyControlState() {
  if (sender_.isOpen(ControlChannel::reliable)) {
    sender_.send(ControlChannel::reliable, controlState());
  } else if (sender_.isOpen(ControlChannel::control)) {
    sender_.send(ControlChannel::control, controlState());
  }
}

void ControlAuthorisation::resetOnChannelClose() {
  waiting_.clear();
  setControlEnabled(false);
  controlAuthed_ = false;
  logLine("[control] reset state on channel close");
}

void ControlAuthorisation::handleAuth(ControlChannel origin, const JsonObject& message) {
  const QString token = stringField(message, "token"_L1).value_or(QString());
  controlAuthed_ = isDemoRoom() || token == settings_.controlPIN;
  logLine(u"[control] auth="_s + trueOrFalse(controlAuthed_));
  sender_.reply(origin, {{u"type"_s, u"auth"_s}, {u"ok"_s, controlAuthed_}});
}

void ControlAuthorisation::handleControl(ControlChannel origin, const JsonObject& message,
                                         std::function<void(bool)> done) {
  if (waiting_.size() >= kMaxWaiting) return;
  waiting_.push_back({origin, boolField(message, "enable"_L1).value_or(false), std::move(done)});
  if (desktopAsked_) return;
  desktopAsked_ = true;
  callbacks_.ensureAccessibility(life_.guard([this, question = ++question_](bool permitted) {
    if (question == question_) answerWaiting(permitted);
  }));
}

// A reply may close a channel or lead to another request: both are seen here, in their order.
void ControlAuthorisation::answerWaiting(bool permitted) {
  while (!waiting_.empty()) {
    const ControlChange change = std::move(waiting_.front());
    waiting_.pop_front();
    setControlEnabled(change.wanted && allowRemoteControl_ && (controlAuthed_ || isDemoRoom()) && permitted);
    logLine(u"[control] enabled="_s + trueOrFalse(controlEnabled_));
    sender_.reply(change.origin, controlState());
    change.done(permitted);
  }
  desktopAsked_ = false;
}

void ControlAuthorisation::sendPermissionRequired(ControlChannel origin) {
  sender_.reply(origin, {{u"type"_s, u"permission_required"_s}, {u"permission"_s, u"accessibility"_s}});
}

void bindAuthorisationMessages(ControlDispatcher& dispatcher, ControlAuthorisation& authorisation) {
  dispatcher.on("auth"_L1, [&authorisation](const ControlRequest& request) {
    authorisation.handleAuth(request.origin, request.body);
    return Handled::yes;
  });
  dispatcher.on("control"_L1, [&](const ControlRequest& request) {
    authorisation.handleControl(
        request.origin, request.body,
        [&authorisation, origin = request.origin, acknowledge = dispatcher.acknowledgeLater(request)](bool permitted) {
          acknowledge();
          if (!permitted) authorisation.sendPermissionRequired(origin);
        });
    return Handled::later;
  });
}

}  // namespace vantora
