// Synthetic input at the desktop's lowest level.
#pragma once

#include <QPointF>
#include <QRectF>
#include <QString>
#include <cstdint>

namespace vantora {

enum class PointerButton { left = 0, right = 1, centre = 2 };

enum class PointerEventType { moved, leftDown, leftUp, rightDown, rightUp, leftDragged, rightDragged };

// One pointer event. The centre button has no event types of its own: it travels in left-type
// events, and `button` tells it apart.
struct PointerEvent {
  PointerEventType type = PointerEventType::moved;
  QPointF point = {};  // Global display coordinates; may lie on the far edge of `frame`, one past its last pixel.
  QRectF frame = {};   // The display that is meant: the pointer never lands outside it. Empty: unknown.
  PointerButton button = PointerButton::left;
  bool operator==(const PointerEvent&) const = default;
};

// Scrolling by pixels: positive `vertical` shows what is further up, positive `horizontal` what is
// further right.
struct ScrollEvent {
  std::int32_t vertical = 0;
  std::int32_t horizontal = 0;
  bool operator==(const ScrollEvent&) const = default;
};

// Modifier mask of a key event.
struct KeyModifiers {
  bool shift = false;
  bool control = false;
  bool alt = false;
  bool meta = false;  // The Super key.
  bool operator==(const KeyModifiers&) const = default;
};

// One key event at a physical position of the keyboard.
struct KeyEvent {
  QString name = {};  // Web "code" name of the position, such as "KeyA".
  bool down = false;
  KeyModifiers modifiers = {};
  bool operator==(const KeyEvent&) const = default;
};

// Posts events as if a person had moved the mouse or pressed a key. Every call is carried out at
// once and in order. A display server that is gone makes calls without effect. Main thread.
// Destroying it releases what it holds.
class InputSynthesis {
 public:
  virtual ~InputSynthesis() = default;
  // Whether events can be posted at all. May open a display server that has come back.
  virtual bool usable() = 0;
  // Why events cannot be posted, in words for the log, when usable() has just said so and there is more to say than
  // that no display server answers; else empty.
  virtual QString refusal() { return {}; }
  // Moves the pointer to the event's point and presses or releases its button there. A press of a
  // button that is already down ends the earlier press first (its release was lost on the way); a
  // release of a button that this object does not hold only moves the pointer.
  virtual void postPointer(const PointerEvent& event) = 0;
  // Scrolls under the pointer. Fractions of a wheel step are kept for the next call.
  virtual void postScroll(const ScrollEvent& event) = 0;
  // Presses or releases a key. The application sees exactly `modifiers` with the event, whatever
  // else is held. A press of a key that is already down is one repetition: keys do not repeat by
  // themselves. A release of a key that this object does not hold does nothing. False: the
  // desktop has no such position, or cannot be reached.
  [[nodiscard]] virtual bool postKey(const KeyEvent& event) = 0;
  // Releases every button, key and modifier that this object holds down.
  virtual void releaseAll() = 0;
};

}  // namespace vantora
