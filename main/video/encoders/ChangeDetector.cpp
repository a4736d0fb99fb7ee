#include "main/video/encoders/ChangeDetector.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace vantora {
namespace {

constexpr int kBlock = 16;

// The library adds the rectangles of the frames that it drops to that of the next frame, also those of a frame that
// waits for a paused encoder and is replaced by a newer one. But the frame that waits when the encoder goes on is
// dropped without that if it is a second old. So after about a second without a frame changes may lie outside the
// rectangle.
constexpr int64_t kRectangleIncompleteUs = 900'000;

constexpr int blocksIn(int pixels) { return (pixels + kBlock - 1) / kBlock; }

// End of the range that begins at `from` and is `length` long, clamped to [0, limit].
int endOf(int from, int length, int limit) {
  return static_cast<int>(std::clamp<int64_t>(static_cast<int64_t>(from) + length, 0, limit));
}

}  // namespace

bool sameColours(const webrtc::I420BufferInterface& a, const webrtc::I420BufferInterface& b) {
  const auto same = [&](const uint8_t* left, int leftStride, const uint8_t* right, int rightStride) {
    const auto width = static_cast<size_t>(b.ChromaWidth());
    for (std::ptrdiff_t y = 0; y < b.ChromaHeight(); ++y) {
      if (std::memcmp(left + y * leftStride, right + y * rightStride, width) != 0) return false;
    }
    return true;
  };
  return &a == &b ||
         (same(a.DataU(), a.StrideU(), b.DataU(), b.StrideU()) && same(a.DataV(), a.StrideV(), b.DataV(), b.StrideV()));
}

ChangeDetector::Area ChangeDetector::changedArea(const webrtc::VideoFrame& frame,
                                                 const webrtc::I420BufferInterface& buffer) const {
  if (lastUs_ && frame.timestamp_us() - *lastUs_ >= kRectangleIncompleteUs)
    return {0, 0, buffer.width(), buffer.height()};
  const webrtc::VideoFrame::UpdateRect rect = frame.update_rect();  // The whole frame when there is none.
  return {rect.offset_x, rect.offset_y, rect.width, rect.height};
}

double ChangeDetector::changedShare(const webrtc::VideoFrame& frame, const webrtc::I420BufferInterface& buffer) {
  const Area area = changedArea(frame, buffer);
  lastUs_ = frame.timestamp_us();
  return compare(buffer.DataY(), buffer.StrideY(), buffer.width(), buffer.height(), area);
}

std::optional<int> ChangeDetector::scrolledBy(const webrtc::VideoFrame& frame,
                                              const webrtc::I420BufferInterface& buffer) {
  if (buffer.width() != width_ || buffer.height() != height_) return std::nullopt;
  const Area area = changedArea(frame, buffer);
  const int left = std::clamp(area.left, 0, width_);
  const int top = std::clamp(area.top, 0, height_);
  const int width = endOf(area.left, area.width, width_) - left;
  const int height = endOf(area.top, area.height, height_) - top;
  const uint8_t* before = last_.data() + static_cast<std::ptrdiff_t>(top) * width_ + left;
  const uint8_t* after = buffer.DataY() + static_cast<std::ptrdiff_t>(top) * buffer.StrideY() + left;
  return scroll_.find({before, width_, width, height}, {after, buffer.StrideY(), width, height});
}

double ChangeDetector::compare(const uint8_t* luma, int stride, int width, int height, const Area& area) {
  rows_ = {};
  blockRows_.assign(static_cast<size_t>(blocksIn(height)), width != width_ || height != height_);
  if (width != width_ || height != height_) {
    rows_ = {0, height};
    width_ = width;
    height_ = height;
    last_.resize(static_cast<size_t>(width) * static_cast<size_t>(height));
    for (int y = 0; y < height; ++y) {
      std::memcpy(last_.data() + static_cast<size_t>(y) * static_cast<size_t>(width),
                  luma + static_cast<std::ptrdiff_t>(y) * stride, static_cast<size_t>(width));
    }
    return 1;
  }
  const int left = std::clamp(area.left, 0, width);
  const int right = endOf(area.left, area.width, width);
  const int top = std::clamp(area.top, 0, height);
  const int bottom = endOf(area.top, area.height, height);
  if (left >= right || top >= bottom) return 0;
  const auto rowSize = static_cast<size_t>(right - left);
  const int firstColumn = left / kBlock;
  std::vector<uint8_t> differs(static_cast<size_t>(blocksIn(right) - firstColumn));
  int changed = 0;
  for (int y = top; y < bottom;) {
    std::ranges::fill(differs, 0);
    for (const int end = std::min((y / kBlock + 1) * kBlock, bottom); y < end; ++y) {
      const uint8_t* row = luma + static_cast<std::ptrdiff_t>(y) * stride;
      uint8_t* kept = last_.data() + static_cast<size_t>(y) * static_cast<size_t>(width);
      // Most rows are unchanged: one comparison for all of their blocks.
      if (std::memcmp(row + left, kept + left, rowSize) == 0) continue;
      for (size_t column = 0; column < differs.size(); ++column) {
        if (differs[column]) continue;
        const int start = (firstColumn + static_cast<int>(column)) * kBlock;
        const int from = std::max(start, left);
        const int to = std::min(start + kBlock, right);
        differs[column] = std::memcmp(row + from, kept + from, static_cast<size_t>(to - from)) != 0;
      }
      std::memcpy(kept + left, row + left, rowSize);
    }
    const auto inRow = static_cast<int>(std::ranges::count(differs, 1));
    if (inRow > 0) {
      rows_ = {changed > 0 ? rows_.top : (y - 1) / kBlock * kBlock, y};
      blockRows_[static_cast<size_t>((y - 1) / kBlock)] = true;
    }
    changed += inRow;
  }
  return static_cast<double>(changed) / (blocksIn(width) * blocksIn(height));
}

}  // namespace vantora
