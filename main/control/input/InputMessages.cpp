#include "main/control/input/InputMessages.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// "ptr" prefers the fast channel: a late position is useless.
void sendPointerEcho(ControlSender& sender, const JsonObject& echo) {
  if (sender.isOpen(ControlChannel::control)) {
    sender.send(ControlChannel::control, echo);
  } else if (sender.isOpen(ControlChannel::reliable)) {
    sender.send(ControlChannel::reliable, echo);
  }
}

using ButtonOperation = void (InputInjector::*)(double, double, std::int64_t);

void bindButton(ControlDispatcher& dispatcher, QLatin1StringView type, InputInjector& injector,
                ButtonOperation operation) {
  dispatcher.on(type, [&injector, operation](const ControlRequest& request) {
    const auto x = numberField(request.body, "x"_L1);
    const auto y = numberField(request.body, "y"_L1);
    if (!x || !y) return Handled::ignored;
    (injector.*operation)(*x, *y, integerField(request.body, "button"_L1).value_or(0));
    return Handled::yes;
  });
}

QMap<QString, bool> modsOf(const JsonObject& message) {
  QMap<QString, bool> mods;
  const JsonObject given = objectField(message, "mods"_L1).value_or(JsonObject());
  for (const QLatin1StringView name : {"shift"_L1, "ctrl"_L1, "alt"_L1, "meta"_L1, "altgr"_L1}) {
    mods.insert(name, boolField(given, name).value_or(false));
  }
  return mods;
}

void bindKey(ControlDispatcher& dispatcher, QLatin1StringView type, InputInjector& injector, bool down) {
  dispatcher.on(type, [&injector, down](const ControlRequest& request) {
    const auto code = stringField(request.body, "code"_L1);
    if (!code) return Handled::ignored;
    injector.key(*code, down, modsOf(request.body));
    return Handled::yes;
  });
}

// A viewer recognises the answer by it.
constexpr qsizetype kMaxTextId = 64;

void bindText(ControlDispatcher& dispatcher, InputInjector& injector, ControlSender& sender) {
  dispatcher.on("type_text"_L1, [&injector, &sender](const ControlRequest& request) {
    const auto text = stringField(request.body, "text"_L1);
    if (!text) return Handled::ignored;
    const auto id = stringField(request.body, "id"_L1);
    if (id && id->size() > kMaxTextId) return Handled::ignored;
    const ReplyAddress to{.origin = request.origin, .connection = sender.connection()};
    injector.type(*text, [&sender, to, id](const TypedText& result) {
      JsonObject answer{{u"type"_s, u"text_typed"_s},
                        {u"typed"_s, static_cast<qint64>(result.typed)},
                        {u"length"_s, static_cast<qint64>(result.length)}};
      if (id) answer.insert(u"id"_s, *id);
      if (!result.reason.isEmpty()) answer.insert(u"reason"_s, result.reason);
      sender.reply(to, answer);
    });
    return Handled::yes;
  });
}

}  // namespace

void bindInputMessages(ControlDispatcher& dispatcher, InputInjector& injector, ControlSender& sender,
                       const Scheduler& scheduler) {
  dispatcher.on("mouseMove"_L1, [&injector, &sender, &scheduler](const ControlRequest& request) {
    const auto x = numberField(request.body, "x"_L1);
    const auto y = numberField(request.body, "y"_L1);
    if (!x || !y) return Handled::ignored;
    const double before = scheduler.absoluteSeconds();
    injector.move(*x, *y);
    const double after = scheduler.absoluteSeconds();
    JsonObject echo{{u"type"_s, u"ptr"_s}, {u"x"_s, *x}, {u"y"_s, *y}};
    if (request.latency) {
      echo.insert(u"inputLatency"_s, request.latency->inputLatency);
      echo.insert(u"processLatency"_s, (after - before) * 1000);
      echo.insert(u"hostTimestamp"_s, request.latency->hostTimestamp);
    }
    sendPointerEcho(sender, echo);
    return Handled::yes;
  });
  bindButton(dispatcher, "mouseClick"_L1, injector, &InputInjector::click);
  bindButton(dispatcher, "mouseDown"_L1, injector, &InputInjector::mouseDown);
  bindButton(dispatcher, "mouseUp"_L1, injector, &InputInjector::mouseUp);
  bindButton(dispatcher, "doubleClick"_L1, injector, &InputInjector::doubleClick);
  dispatcher.on("wheel"_L1, [&injector](const ControlRequest& request) {
    injector.wheel(numberField(request.body, "dx"_L1).value_or(0), numberField(request.body, "dy"_L1).value_or(0));
    return Handled::yes;
  });
  bindKey(dispatcher, "keyDown"_L1, injector, true);
  bindKey(dispatcher, "keyUp"_L1, injector, false);
  dispatcher.on("key_press"_L1, [&injector](const ControlRequest& request) {
    const auto code = stringField(request.body, "code"_L1);
    if (!code) return Handled::ignored;
    injector.pressKey(*code, modsOf(request.body));
    return Handled::yes;
  });
  bindText(dispatcher, injector, sender);
}

}  // namespace vantora
