// Synthetic input on the desktop.
#pragma once

#include <QString>
#include <cstdint>
#include <functional>

namespace vantora {

enum class PointerButton { left = 0, right = 1, centre = 2 };

// Scrolling by pixels: positive `vertical` scrolls up, positive `horizontal` scrolls right.
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

// Whether the desktop takes input from this process.
struct InputPermission {
  bool granted = false;
  // Why not, for the log; empty when the only reason is that nothing replies.
  QString reason = {};
};

// Posts pointer and key events as if made by a person. Calls take effect in order and never wait for consent; without a
// desktop, or before consent, they have no effect. Thread: main. Owner: the desktop session. Destroying it releases
// everything it holds down.
class DesktopInput {
 public:
  using PermissionCallback = std::function<void(const InputPermission&)>;
  virtual ~DesktopInput() = default;

  // Asks the desktop for permission, which may ask the local user. `answer` is called once, on the main thread, unless
  // this object is destroyed before: within this call where no user has to be asked, else when the user has decided.
  // Several requests are answered in their order. A reply may never come from a desktop that closes.
  virtual void requestPermission(PermissionCallback answer) = 0;
  // Moves the pointer to a place of the display with this id, in fractions of its width and height from its top left
  // corner; its far edges (1) are its last pixels. Fractions are clamped to 0..1; NaN counts as 0. A display that was
  // removed is assumed at its last position. False: the pointer was not moved, since there has been no such display or
  // the desktop cannot be reached.
  virtual bool moveTo(std::uint32_t displayId, double fx, double fy) = 0;
  // A press of a button that is already down ends the earlier press first (its release was lost in transit); a release
  // of a button that this object does not hold does nothing.
  virtual void button(PointerButton button, bool down) = 0;
  // Scrolls under the pointer. Fractions of a wheel step are accumulated for the next call.
  virtual void wheel(const ScrollEvent& event) = 0;
  // Presses or releases the key at a physical position: `code` as the kernel numbers it (KEY_A of
  // linux/input-event-codes.h). The application sees exactly `modifiers` with the event, whatever else is held. A press
  // of a key that is already down is one repetition: there is no automatic repeat. A release of a key that this object
  // does not hold does nothing. False: the desktop has no such position, or cannot be reached.
  [[nodiscard]] virtual bool key(std::uint16_t code, bool down, const KeyModifiers& modifiers) = 0;
  // Releases every button, key and modifier that this object holds down.
  virtual void releaseAll() = 0;
};

}  // namespace vantora
