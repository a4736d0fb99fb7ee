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

void bindKey(ControlDispatcher& dispatcher, QLatin1StringView type, InputInjector& injector, bool down) {
  dispatcher.on(type, [&injector, down](const ControlRequest& request) {
    const auto code = stringField(request.body, "code"_L1);
    if (!code) return Handled::ignored;
    QMap<QString, bool> mods;
    const JsonObject given = objectField(request.body, "mods"_L1).value_or(JsonObject());
    for (const QLatin1StringView name : {"shift"_L1, "ctrl"_L1, "alt"_L1, "meta"_L1}) {
      mods.insert(name, boolField(given, name).value_or(false));
    }
    injector.key(*code, down, mods);
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
}

}  // namespace vantora
