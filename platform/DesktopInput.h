// Synthetic input on the desktop.
#pragma once

#include <QString>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

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
  bool meta = false;   // The Super key.
  bool altgr = false;  // The shift to the third level of the layout; none where the layout has no key for it.
  bool operator==(const KeyModifiers&) const = default;
};

// Whether the desktop takes input from this process.
struct InputPermission {
  bool granted = false;
  // Why not, for the log; empty when the only reason is that nothing replies.
  QString reason = {};
};

// What one call of DesktopInput::type() did.
struct TypingStep {
  std::size_t taken = 0;              // Characters from the beginning of the text that are done with.
  std::size_t typed = 0;              // Those of them that were typed; the desktop has no means for the others.
  std::chrono::milliseconds wait{0};  // Before the next call for the rest.
  bool possible = true;               // False: the desktop cannot be reached or takes no input.
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
  // Types the beginning of `text`, as much as can be done without blocking; the caller goes on with the rest after the
  // `wait` of the result. `text`: Unicode characters, without control characters but "\n" (Enter) and "\t" (Tab).
  // Neither the local user's modifiers and locks nor those that this object holds change what is typed.
  [[nodiscard]] virtual TypingStep type(std::u32string_view text) = 0;
  // Whether a key may follow the texts that were typed; false: ask again a moment later. What it has to wait for, such
  // as a clipboard that a text has used, ends within two seconds.
  [[nodiscard]] virtual bool readyForKeys() { return true; }
  // Releases every button, key and modifier that this object holds down.
  virtual void releaseAll() = 0;
};

}  // namespace vantora
