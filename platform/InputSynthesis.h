// Synthetic input at the desktop's lowest level.
#pragma once

#include <QStringView>

namespace vantora {

enum class PointerButton { left = 0, right = 1, centre = 2 };

// Modifier mask of a key event.
struct KeyModifiers {
  bool shift = false;
  bool control = false;
  bool alt = false;
  bool meta = false;  // The Super key.
  bool operator==(const KeyModifiers&) const = default;
};

// Posts events as if a person had moved the mouse or pressed a key. Every call is carried out at
// once and in order. A display server that is gone makes calls without effect. Main thread.
class InputSynthesis {
 public:
  virtual ~InputSynthesis() = default;
  // Whether events can be posted at all.
  virtual bool usable() = 0;
  // Moves the pointer to global coordinates in pixels (see Displays).
  virtual void movePointer(double x, double y) = 0;
  virtual void setButton(PointerButton button, bool down) = 0;
  // Scrolls by pixels: positive `vertical` moves the content's view up, positive `horizontal`
  // to the right. Fractions of a wheel step are kept and added to the next call.
  virtual void scroll(int vertical, int horizontal) = 0;
  // Presses or releases the key at the physical position `code` (a web "code" name such as
  // "KeyA"). The application sees exactly `modifiers` with the event. False: unknown position.
  virtual bool setKey(QStringView code, bool down, const KeyModifiers& modifiers) = 0;
  // Releases every button, key and modifier that this object holds down.
  virtual void releaseAll() = 0;
};

}  // namespace vantora
