// Bounds of the frame rate and size that a viewer may request.
#pragma once

#include <QSize>
#include <algorithm>
#include <cmath>

namespace vantora {

// Frame rate of a source, in frames per second.
inline int clampedFps(int fps) { return std::clamp(fps, 1, 120); }

// The size of the frames made for a requested size: each side clamped to 16..8192. A size of more than 36 864 blocks of
// 16 x 16 (4096 x 2304) is reduced in proportion, to whole blocks: every encoder accepts that many, H.264 not more, and
// no request can exhaust memory.
inline QSize frameSizeFor(int width, int height) {
  constexpr int kBlock = 16;
  constexpr int kMaxBlocks = 36'864;
  const int w = std::clamp(width, kBlock, 8192);
  const int h = std::clamp(height, kBlock, 8192);
  const auto blocks = [](int side) { return (side + kBlock - 1) / kBlock; };
  if (blocks(w) * blocks(h) <= kMaxBlocks) return {w, h};
  const double factor = std::sqrt(static_cast<double>(kMaxBlocks) / (blocks(w) * blocks(h)));
  const auto smaller = [&](int side) { return static_cast<int>(blocks(side) * factor) * kBlock; };
  return {smaller(w), smaller(h)};
}

}  // namespace vantora
