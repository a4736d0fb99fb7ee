// From pixels to wheel clicks.
#pragma once

#include <cstdint>

namespace vantora {

// Converts the scroll distances of one axis to wheel clicks, the only scrolling that the X test extension can send (its
// pointer has no scroll axes).
//
// The viewer's mouse wheel reports one notch as 120 or 100 pixels, depending on its system; a user expects one click
// for one notch, so multiples of these two are counted as notches. Any other distance comes from a touch pad or a
// smooth wheel and is taken literally: desktop toolkits scroll by three lines, about 53 pixels, for a click. The
// remainder is kept until the next message, so that slow scrolling is not lost, and dropped when the direction changes.
// Not thread-safe; owned by X11Input.
class WheelClicks {
 public:
  static constexpr int kPixelsPerClick = 53;
  // Maximum clicks of one message; the rest of a larger distance is dropped.
  static constexpr int kMaxClicks = 32;

  // Clicks for `pixels` more, signed like `pixels`, within plus or minus kMaxClicks.
  int add(std::int32_t pixels);
  // Drops the remainder.
  void reset() { remainder_ = 0; }

 private:
  int remainder_ = 0;  // Its absolute value is below kPixelsPerClick.
};

}  // namespace vantora
