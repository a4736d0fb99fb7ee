#include "platform/portal/pipewire/ShadowFrame.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <new>
#include <numeric>
#include <optional>

namespace vantora {
namespace {

constexpr int kPixel = 4;

// Adds a rectangle of tiles to one of the same columns that ends where it begins, or to the list.
void addBelow(std::vector<QRect>& rects, const QRect& rect) {
  const auto continues = [&](const QRect& above) {
    return above.bottom() + 1 == rect.top() && above.left() == rect.left() && above.right() == rect.right();
  };
  if (const auto above = std::ranges::find_if(rects, continues); above != rects.end()) {
    above->setBottom(rect.bottom());
  } else {
    rects.push_back(rect);
  }
}

}  // namespace

std::vector<QRect> ShadowFrame::update(const FrameView& frame, const FrameDamage& damage) {
  const QRect whole(QPoint(0, 0), frame.size);
  if (isEmpty() || frame.size != size_ || frame.format != format_) {
    copyAll(frame);
    return isEmpty() ? std::vector<QRect>() : std::vector<QRect>{whole};
  }
  std::ranges::fill(changed_, std::uint8_t{0});
  if (!damage) {
    compare(frame, whole);
  } else {
    for (const QRect& area : *damage) compare(frame, area & whole);
  }
  return changedRects();
}

void ShadowFrame::reset() {
  pixels_.reset();
  size_ = {};
}

void ShadowFrame::copyAll(const FrameView& frame) {
  const auto row = static_cast<std::size_t>(frame.size.width()) * kPixel;
  const auto height = static_cast<std::size_t>(frame.size.height());
  if (isEmpty() || frame.size != size_) {
    reset();
    pixels_.reset(new (std::nothrow) std::uint8_t[row * height]);
    if (isEmpty()) return;
    size_ = frame.size;
    columns_ = (size_.width() + kTileWidth - 1) / kTileWidth;
    rows_ = (size_.height() + kTileHeight - 1) / kTileHeight;
    changed_.assign(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_), 0);
  }
  format_ = frame.format;
  for (std::size_t y = 0; y < height; ++y) {
    std::memcpy(pixels_.get() + y * row, frame.data + static_cast<std::ptrdiff_t>(y) * frame.stride, row);
  }
}

void ShadowFrame::compare(const FrameView& frame, const QRect& area) {
  for (int y = area.top(); y <= area.bottom(); ++y) compareRow(frame, y, area.left(), area.right() + 1);
}

void ShadowFrame::compareRow(const FrameView& frame, int y, int left, int right) {
  const std::uint8_t* const from = frame.data + y * frame.stride;
  std::uint8_t* const to = pixels_.get() + static_cast<std::ptrdiff_t>(y) * stride();
  const auto differs = [&](int begin, int end) {
    const std::ptrdiff_t offset = std::ptrdiff_t{begin} * kPixel;
    return std::memcmp(from + offset, to + offset, static_cast<std::size_t>(end - begin) * kPixel) != 0;
  };
  if (!differs(left, right)) return;
  for (int begin = left; begin < right;) {
    const int column = begin / kTileWidth;
    const int end = std::min((column + 1) * kTileWidth, right);
    if (differs(begin, end)) {
      const std::ptrdiff_t offset = std::ptrdiff_t{begin} * kPixel;
      std::memcpy(to + offset, from + offset, static_cast<std::size_t>(end - begin) * kPixel);
      tile(column, y / kTileHeight) = 1;
    }
    begin = end;
  }
}

std::vector<QRect> ShadowFrame::changedRects() const {
  const QRect whole(QPoint(0, 0), size_);
  std::vector<QRect> runs;
  std::vector<QRect> spans;  // One for each row of tiles.
  for (int row = 0; row < rows_; ++row) {
    const std::uint8_t* const tiles = changed_.data() + static_cast<std::ptrdiff_t>(row) * columns_;
    const auto rectOf = [&](int first, int end) {
      return QRect(first * kTileWidth, row * kTileHeight, (end - first) * kTileWidth, kTileHeight) & whole;
    };
    QRect span;
    for (int first = 0; first < columns_; ++first) {
      if (tiles[first] == 0) continue;
      int end = first;
      while (end < columns_ && tiles[end] != 0) ++end;
      const QRect run = rectOf(first, end);
      if (runs.size() <= kMaxRects) addBelow(runs, run);
      span |= run;
      first = end;
    }
    if (!span.isEmpty()) addBelow(spans, span);
  }
  if (runs.size() <= kMaxRects) return runs;
  if (spans.size() <= kMaxRects) return spans;
  return {std::accumulate(spans.begin(), spans.end(), QRect(), std::bit_or<>())};
}

}  // namespace vantora
