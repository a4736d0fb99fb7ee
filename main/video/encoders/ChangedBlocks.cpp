#include "main/video/encoders/ChangedBlocks.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace vantora {
namespace {

constexpr int kBlock = 16;

}  // namespace

double ChangedBlocks::compare(const uint8_t* luma, int stride, int width, int height) {
  const bool first = width != width_ || height != height_;
  if (first) {
    width_ = width;
    height_ = height;
    last_.assign(static_cast<size_t>(width) * static_cast<size_t>(height), 0);
  }
  const int columns = (width + kBlock - 1) / kBlock;
  std::vector<uint8_t> differs(static_cast<size_t>(columns));
  int changed = 0;
  int blocks = 0;
  for (int top = 0; top < height; top += kBlock) {
    std::ranges::fill(differs, 0);
    for (int y = top; y < std::min(top + kBlock, height); ++y) {
      const uint8_t* row = luma + static_cast<std::ptrdiff_t>(y) * stride;
      uint8_t* kept = last_.data() + static_cast<size_t>(y) * static_cast<size_t>(width);
      // Most rows are as they were: one comparison for all of their blocks.
      if (std::memcmp(row, kept, static_cast<size_t>(width)) == 0) continue;
      for (int column = 0; column < columns; ++column) {
        const int x = column * kBlock;
        const auto size = static_cast<size_t>(std::min(kBlock, width - x));
        if (!differs[static_cast<size_t>(column)]) {
          differs[static_cast<size_t>(column)] = std::memcmp(row + x, kept + x, size) != 0;
        }
      }
      std::memcpy(kept, row, static_cast<size_t>(width));
    }
    changed += static_cast<int>(std::ranges::count(differs, 1));
    blocks += columns;
  }
  return first || blocks == 0 ? 1 : static_cast<double>(changed) / blocks;
}

}  // namespace vantora
