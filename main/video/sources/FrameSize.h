// Bounds on what a viewer may ask for.
#pragma once

#include <QSize>
#include <algorithm>
#include <cmath>

namespace vantora {

// Frames a second that a source can make.
inline int clampedFps(int fps) { return std::clamp(fps, 1, 120); }

// The size of the frames made for a requested size: the request itself, within 16 to 8192 a side. One with more than
// 36 864 blocks of 16 x 16 (4096 x 2304) is made smaller in proportion, to whole blocks: every encoder takes so many,
// H.264 no more, and no request can exhaust memory.
inline QSize frameSizeFor(int width, int height) {
  constexpr int kBlock = 16;
  constexpr int kMostBlocks = 36'864;
  const int w = std::clamp(width, kBlock, 8192);
  const int h = std::clamp(height, kBlock, 8192);
  const auto blocks = [](int side) { return (side + kBlock - 1) / kBlock; };
  if (blocks(w) * blocks(h) <= kMostBlocks) return {w, h};
  const double factor = std::sqrt(static_cast<double>(kMostBlocks) / (blocks(w) * blocks(h)));
  const auto smaller = [&](int side) { return static_cast<int>(blocks(side) * factor) * kBlock; };
  return {smaller(w), smaller(h)};
}

}  // namespace vantora
