// Input: text messages of a control channel, one per line. They run through the real dispatcher into
// the real authorisation and input mapping, with every right granted.
#include <cmath>

#include "base/Log.h"
#include "main/control/authorisation/ControlAuthorisation.h"
#include "main/control/dispatch/ControlDispatcher.h"
#include "main/control/input/InputMessages.h"
#include "tests/fakes/FakeControlSender.h"
#include "tests/fakes/FakeDesktopInput.h"
#include "tests/fakes/FakeDisplays.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fuzz/Check.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// The typed accessors of a field agree with each other.
void checkFields(const JsonObject& message) {
  for (const QString& name : message.keys()) {
    const QByteArray latin = name.toLatin1();
    const QLatin1StringView key(latin);
    const auto number = numberField(message, key);
    const auto integer = integerField(message, key);
    fuzz::require(!number || std::isfinite(*number));
    // An integer is a number, and the same one.
    fuzz::require(!integer || (number && *number == static_cast<double>(*integer)));
    const int kinds = (stringField(message, key) ? 1 : 0) + (boolField(message, key) ? 1 : 0) + (number ? 1 : 0) +
                      (objectField(message, key) ? 1 : 0);
    fuzz::require(kinds <= 1);
  }
}

// The control side of a session in the demo room.
struct Session {
  fakes::FakeScheduler scheduler;
  fakes::FakeControlSender sender;
  fakes::FakeDisplays displays{{Display{.id = 1, .name = u"first"_s, .bounds = QRect(0, 0, 1920, 1080)}}};
  fakes::FakeDesktopInput input{&displays};
  InputInjector injector{displays, input, scheduler};
  ControlAuthorisation authorisation{
      {.controlPIN = u"000042"_s, .pinLockedByEnv = false, .roomId = u"demo"_s},
      sender,
      {.ensureAccessibility =
           [this](std::function<void(bool)> answer) { injector.ensureAccessibility(std::move(answer)); },
       .controlEnded = [this] { injector.releaseAll(); },
       .random = [](quint32) { return 42U; }}};
  ControlDispatcher dispatcher{sender, scheduler, [this](Gate gate) {
                                 if (gate == Gate::input) return isOpen(Gate::input, authorisation.rights());
                                 return gate != Gate::command || isOpen(Gate::command, authorisation.rights());
                               }};

  Session() {
    bindAuthorisationMessages(dispatcher, authorisation);
    bindInputMessages(dispatcher, injector, sender, scheduler);
    dispatcher.dataChannelDidReceiveMessage(ControlChannel::reliable, R"({"type":"control","enable":true})", false);
    fuzz::require(isOpen(Gate::input, authorisation.rights()));
    sender.take();
  }
};

}  // namespace
}  // namespace vantora

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantora;
  const ScopedLogSink silent([](const QString&) {});
  Session session;
  const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
  for (const QByteArray& text : input.split('\n')) {
    if (const auto message = parseJsonObject(text)) checkFields(*message);
    session.dispatcher.dataChannelDidReceiveMessage(ControlChannel::control, text, false);
    // A text is typed to its end, and answered, before the next message.
    session.scheduler.advance(std::chrono::seconds(10));
    // One message gets at most two replies: what it asked for, and the acknowledgement.
    fuzz::require(session.sender.take().size() <= 2);
  }
  session.authorisation.resetOnChannelClose();
  fuzz::require(session.input.heldKeys.empty() && session.input.heldButtons.empty());
  return 0;
}
