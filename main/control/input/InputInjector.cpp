#include "main/control/input/InputInjector.h"

#include <algorithm>
#include <tuple>

#include "base/Log.h"
#include "main/control/input/KeyCodes.h"
#include "main/control/input/PointerMapping.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

namespace {

QString text(const QRectF& rectangle) {
  const auto number = [](double value) { return QString::number(value, 'g', 10); };
  return u"(%1, %2, %3, %4)"_s.arg(number(rectangle.x()), number(rectangle.y()), number(rectangle.width()),
                                   number(rectangle.height()));
}

KeyModifiers modifiersFrom(const QMap<QString, bool>& mods) {
  const auto on = [&mods](const QString& name) { return mods.value(name, false); };
  return {.shift = on(u"shift"_s),
          .control = on(u"ctrl"_s),
          .alt = on(u"alt"_s),
          .meta = on(u"meta"_s),
          .altgr = on(u"altgr"_s)};
}

}  // namespace

InputInjector::InputInjector(Displays& displays, DesktopInput& input, Scheduler& scheduler)
    : displays_(displays), input_(input), keys_(input, scheduler) {}

void InputInjector::setMappingMode(bool usePoints) {
  affinity_.check("InputInjector::setMappingMode");
  usePoints_ = usePoints;
  logLine(usePoints ? "[input] mapping mode=points" : "[input] mapping mode=pixels");
}

void InputInjector::setOrigin(bool topOrigin) {
  affinity_.check("InputInjector::setOrigin");
  topOrigin_ = topOrigin;
  logLine(topOrigin ? "[input] origin=top" : "[input] origin=bottom");
}

void InputInjector::setTargetScreen(std::int64_t index) {
  affinity_.check("InputInjector::setTargetScreen");
  targetIndex_ = index;
  const std::vector<Display> displays = displays_.list();
  if (displays.empty()) {
    target_.reset();
    fallbackFrame_.reset();
    return;
  }
  const bool known = index >= 0 && index < static_cast<std::int64_t>(displays.size());
  target_ = displays[known ? static_cast<std::size_t>(index) : 0];
  if (target_->id != 0) {
    rotationDegrees_ = target_->rotationDegrees;
    fallbackFrame_ = QRectF(target_->bounds);
    logLine(u"[input] target display id=%1 rotation=%2 bounds=%3"_s.arg(
        QString::number(target_->id), QString::number(static_cast<int>(rotationDegrees_)), text(*fallbackFrame_)));
  } else {
    fallbackFrame_ = target_->frame();
    logLine(u"[input] fallback target frame=%1 (points)"_s.arg(text(*fallbackFrame_)));
  }
}

void InputInjector::displaysChanged() {
  if (!targetIndex_) return;
  const auto now = target_ ? displays_.find(target_->id) : std::nullopt;
  if (!target_ || (now && now->scale != target_->scale)) setTargetScreen(*targetIndex_);
}

void InputInjector::ensureAccessibility(std::function<void(bool)> answer) {
  affinity_.check("InputInjector::ensureAccessibility");
  input_.requestPermission([answer = std::move(answer)](const InputPermission& permission) {
    if (!permission.granted) {
      logLine(
          "[control] Accessibility permission required: System Settings \xE2\x86\x92 Privacy & Security \xE2\x86\x92 "
          "Accessibility");
      if (!permission.reason.isEmpty()) logLine(u"[input] refused: "_s + permission.reason);
    }
    answer(permission.granted);
  });
}

QPointF InputInjector::toPoint(double nx, double ny) {
  affinity_.check("InputInjector::toPoint");
  return mapToFrame(mappingTarget().frame, nx, ny, rotationDegrees_, topOrigin_);
}

void InputInjector::move(double nx, double ny) { std::ignore = moveTo(nx, ny); }

void InputInjector::click(double nx, double ny, std::int64_t button) {
  mouseDown(nx, ny, button);
  input_.button(buttonFor(button), false);
}

void InputInjector::mouseDown(double nx, double ny, std::int64_t button) {
  if (moveTo(nx, ny)) input_.button(buttonFor(button), true);
}

void InputInjector::mouseUp(double nx, double ny, std::int64_t button) {
  std::ignore = moveTo(nx, ny);
  input_.button(buttonFor(button), false);
}

void InputInjector::doubleClick(double nx, double ny, std::int64_t button) {
  if (!moveTo(nx, ny)) return;
  for (int clicks = 0; clicks < 2; ++clicks) {
    input_.button(buttonFor(button), true);
    input_.button(buttonFor(button), false);
  }
}

void InputInjector::wheel(double deltaX, double deltaY) {
  affinity_.check("InputInjector::wheel");
  input_.wheel(scrollFor(deltaX, deltaY));
}

std::optional<std::uint16_t> InputInjector::keyCode(const QString& name) {
  const KeyCode* const key = findKey(name);
  return key ? std::optional(key->code) : std::nullopt;
}

void InputInjector::key(const QString& code, bool down, const QMap<QString, bool>& mods) {
  affinity_.check("InputInjector::key");
  const KeyCode* const known = findKey(code);
  if (known) keys_.key(known->evdev, down, modifiersFrom(mods));
}

void InputInjector::pressKey(const QString& code, const QMap<QString, bool>& mods) {
  affinity_.check("InputInjector::pressKey");
  const auto known = pressableKey(code);
  if (!known) return;
  keys_.key(*known, true, modifiersFrom(mods));
  keys_.key(*known, false, modifiersFrom(mods));
}

void InputInjector::type(const QString& text, KeyQueue::Answer answer) {
  affinity_.check("InputInjector::type");
  keys_.type(text, std::move(answer));
}

void InputInjector::releaseAll() {
  affinity_.check("InputInjector::releaseAll");
  keys_.releaseAll();
}

InputInjector::Target InputInjector::mappingTarget() {
  const std::vector<Display> displays = displays_.list();
  if (!target_ || (!usePoints_ && !fallbackFrame_)) {
    if (displays.empty()) return {};
    const Display& first = displays.front();
    const QRectF frame = usePoints_ || first.id == 0 ? first.frame() : QRectF(first.bounds);
    return {frame, first.id, frame};
  }
  // The resolution may change during a session.
  const auto found = std::ranges::find_if(
      displays, [this](const Display& display) { return target_->id != 0 && display.id == target_->id; });
  const Display& now = found == displays.end() ? *target_ : *found;
  if (usePoints_) return {now.frame(), now.id, now.frame()};
  return {*fallbackFrame_, now.id, now.id != 0 ? QRectF(now.bounds) : now.frame()};
}

bool InputInjector::moveTo(double nx, double ny) {
  affinity_.check("InputInjector::moveTo");
  const Target target = mappingTarget();
  const QPointF place = fractionOf(target.current, mapToFrame(target.frame, nx, ny, rotationDegrees_, topOrigin_));
  return input_.moveTo(target.displayId, place.x(), place.y());
}

}  // namespace vantora
