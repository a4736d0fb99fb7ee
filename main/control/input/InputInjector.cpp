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
  return {.shift = on(u"shift"_s), .control = on(u"ctrl"_s), .alt = on(u"alt"_s), .meta = on(u"meta"_s)};
}

}  // namespace

InputInjector::InputInjector(Displays& displays, InputSynthesis& synthesis)
    : displays_(displays), synthesis_(synthesis) {}

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

bool InputInjector::ensureAccessibility() {
  affinity_.check("InputInjector::ensureAccessibility");
  if (synthesis_.usable()) return true;
  logLine(
      "[control] Accessibility permission required: System Settings \xE2\x86\x92 Privacy & Security \xE2\x86\x92 "
      "Accessibility");
  if (const QString reason = synthesis_.refusal(); !reason.isEmpty()) logLine(u"[input] refused: "_s + reason);
  return false;
}

QPointF InputInjector::toPoint(double nx, double ny) {
  affinity_.check("InputInjector::toPoint");
  return mapToFrame(frameForMapping(), nx, ny, rotationDegrees_, topOrigin_);
}

void InputInjector::move(double nx, double ny) {
  if (noButtonHeld_) {
    postAt(PointerEventType::moved, nx, ny, PointerButton::left);
  } else {
    postAt(dragTypeFor(lastButton_), nx, ny, lastButton_);
  }
}

void InputInjector::click(double nx, double ny, std::int64_t button) {
  affinity_.check("InputInjector::click");
  const PointerButton which = buttonFor(button);
  const QRectF frame = frameForMapping();
  const QPointF point = mapToFrame(frame, nx, ny, rotationDegrees_, topOrigin_);
  synthesis_.postPointer({downTypeFor(which), point, frame, which});
  synthesis_.postPointer({upTypeFor(which), point, frame, which});
  lastButton_ = which;
  noButtonHeld_ = true;
}

void InputInjector::mouseDown(double nx, double ny, std::int64_t button) {
  const PointerButton which = buttonFor(button);
  postAt(downTypeFor(which), nx, ny, which);
  lastButton_ = which;
  noButtonHeld_ = false;
}

void InputInjector::mouseUp(double nx, double ny, std::int64_t button) {
  const PointerButton which = buttonFor(button);
  postAt(upTypeFor(which), nx, ny, which);
  noButtonHeld_ = true;
}

void InputInjector::doubleClick(double nx, double ny, std::int64_t button) {
  affinity_.check("InputInjector::doubleClick");
  const PointerButton which = buttonFor(button);
  const QRectF frame = frameForMapping();
  const QPointF point = mapToFrame(frame, nx, ny, rotationDegrees_, topOrigin_);
  for (int clicks = 0; clicks < 2; ++clicks) {
    synthesis_.postPointer({downTypeFor(which), point, frame, which});
    synthesis_.postPointer({upTypeFor(which), point, frame, which});
  }
}

void InputInjector::wheel(double deltaX, double deltaY) {
  affinity_.check("InputInjector::wheel");
  synthesis_.postScroll(scrollFor(deltaX, deltaY));
}

std::optional<std::uint16_t> InputInjector::keyCode(const QString& name) { return keyCodeFor(name); }

void InputInjector::key(const QString& code, bool down, const QMap<QString, bool>& mods) {
  affinity_.check("InputInjector::key");
  if (!keyCode(code)) return;
  // A position that this desktop does not have is skipped like an unknown name.
  std::ignore = synthesis_.postKey({code, down, modifiersFrom(mods)});
}

void InputInjector::releaseAll() {
  affinity_.check("InputInjector::releaseAll");
  lastButton_ = PointerButton::left;
  noButtonHeld_ = true;
  synthesis_.releaseAll();
}

// The target's frame as it is now, since a resolution may change under a running session; as it
// was last known when the display has gone.
std::optional<QRectF> InputInjector::currentTargetFrame(const std::vector<Display>& displays) const {
  if (!target_) return std::nullopt;
  const auto now = std::find_if(displays.begin(), displays.end(), [this](const Display& display) {
    return target_->id != 0 && display.id == target_->id;
  });
  return now == displays.end() ? target_->frame() : now->frame();
}

QRectF InputInjector::frameForMapping() {
  if (!usePoints_ && fallbackFrame_) return *fallbackFrame_;
  const std::vector<Display> displays = displays_.list();
  if (usePoints_) {
    if (const auto frame = currentTargetFrame(displays)) return *frame;
    if (!displays.empty()) return displays.front().frame();
    if (fallbackFrame_) return *fallbackFrame_;
  }
  if (displays.empty()) return {};
  const Display& first = displays.front();
  return first.id != 0 ? QRectF(first.bounds) : first.frame();
}

void InputInjector::postAt(PointerEventType type, double nx, double ny, PointerButton button) {
  affinity_.check("InputInjector::postAt");
  const QRectF frame = frameForMapping();
  synthesis_.postPointer({type, mapToFrame(frame, nx, ny, rotationDegrees_, topOrigin_), frame, button});
}

}  // namespace vantora
