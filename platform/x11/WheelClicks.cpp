#include "platform/x11/WheelClicks.h"

#include <algorithm>

namespace vantora {

int WheelClicks::add(std::int32_t pixels) {
  if (pixels == 0) return 0;
  if ((pixels > 0) != (remainder_ > 0)) remainder_ = 0;
  std::int64_t clicks = 0;
  if (pixels % 120 == 0) {
    clicks = pixels / 120;
  } else if (pixels % 100 == 0) {
    clicks = pixels / 100;
  } else {
    const std::int64_t distance = std::int64_t{remainder_} + pixels;
    clicks = distance / kPixelsPerClick;
    remainder_ = static_cast<int>(distance % kPixelsPerClick);
  }
  if (clicks >= -kMaxClicks && clicks <= kMaxClicks) return static_cast<int>(clicks);
  remainder_ = 0;
  return clicks > 0 ? kMaxClicks : -kMaxClicks;
}

}  // namespace vantora
