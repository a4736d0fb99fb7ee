// Rotations as RandR counts them.
#pragma once

#include <cstdint>

namespace vantora {

// Clockwise degrees (0, 90, 180 or 270) of a controller's RandR rotation mask, which counts
// counter-clockwise; reflections do not matter. Pure.
constexpr double clockwiseDegrees(std::uint16_t randrRotation) {
  constexpr std::uint16_t kRotate90 = 2;
  constexpr std::uint16_t kRotate180 = 4;
  constexpr std::uint16_t kRotate270 = 8;
  if ((randrRotation & kRotate90) != 0) return 270;
  if ((randrRotation & kRotate180) != 0) return 180;
  if ((randrRotation & kRotate270) != 0) return 90;
  return 0;
}

}  // namespace vantora
