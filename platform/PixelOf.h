// From fractions of a display to its pixels.
#pragma once

#include <algorithm>
#include <cmath>

namespace vantora {

// The pixel of 0 to size - 1 in which the fraction lies, so that the far edge of a display does not land on its
// neighbour. Fractions are clamped to 0..1; NaN counts as 0. Pure.
inline int pixelOf(double fraction, int size) {
  // Fractions are pixels divided by the size, and multiplying again may end just below the pixel.
  constexpr double kRounding = 1e-6;
  if (std::isnan(fraction)) fraction = 0;
  const double pixel = std::floor(std::clamp(fraction, 0.0, 1.0) * size + kRounding);
  return static_cast<int>(std::clamp(pixel, 0.0, std::max(size - 1.0, 0.0)));
}

}  // namespace vantora
