// Bounds on what a viewer may ask for.
#pragma once

#include <QSize>
#include <algorithm>

namespace vantora {

// Frames a second that a source can make.
inline int clampedFps(int fps) { return std::clamp(fps, 1, 120); }

// The size of the frames made for a requested size: the request itself, within 16 to 8192 a side
// and 7680 x 4320 pixels altogether (the height gives way), so that no request can exhaust memory.
inline QSize frameSizeFor(int width, int height) {
  constexpr int kMostPixels = 7680 * 4320;
  const int w = std::clamp(width, 16, 8192);
  const int h = std::clamp(height, 16, 8192);
  return QSize(w, std::min(h, kMostPixels / w));
}

}  // namespace vantora
