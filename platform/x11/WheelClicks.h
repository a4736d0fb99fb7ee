// From pixels to wheel clicks.
#pragma once

#include <cstdint>

namespace vantora {

// Turns the scroll distances of one axis into clicks of a wheel, which are all that the X test
// extension can send (its pointer has no scroll axes).
//
// A wheel of the viewer's mouse reports one notch as 120 or 100 pixels, depending on its system;
// a person expects one click for one notch, so multiples of these two are counted as notches. Any
// other distance comes from a touch pad or a smooth wheel and is taken literally: desktop
// toolkits move by three lines, close to 53 pixels, for a click. What is left over is kept until
// the next message, so that slow scrolling is not lost, and dropped when the direction turns.
// Not thread-safe; owned by the input synthesis.
class WheelClicks {
 public:
  static constexpr int kPixelsPerClick = 53;
  // The most clicks of one message; the rest of a wilder distance is dropped.
  static constexpr int kMostClicks = 32;

  // Clicks for `pixels` more, signed like `pixels`, within plus or minus kMostClicks.
  int add(std::int32_t pixels);
  // Forgets what is left over.
  void reset() { remainder_ = 0; }

 private:
  int remainder_ = 0;  // Smaller in size than kPixelsPerClick.
};

}  // namespace vantora
