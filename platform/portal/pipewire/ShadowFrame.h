// The last picture of a screen, to find out what a new one changes.
#pragma once

#include <QRect>
#include <QSize>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/portal/pipewire/StreamBuffer.h"

namespace vantora {

// A copy of a screen's pixels without gaps between the rows. Not thread-safe.
class ShadowFrame {
 public:
  // Changes are found in tiles of this size: of about a word of text.
  static constexpr int kTileWidth = 64;
  static constexpr int kTileHeight = 32;
  // Maximum number of rectangles that update() returns.
  static constexpr std::size_t kMaxRects = 64;

  // Takes over what differs in `frame`, looking only at `damage`. Returns rectangles of tiles that contain each
  // difference, ordered from the top; the whole frame if it has another size or format than the last one or is the
  // first; empty if nothing differs.
  std::vector<QRect> update(const FrameView& frame, const FrameDamage& damage);
  // Forgets the picture.
  void reset();

  bool isEmpty() const { return pixels_ == nullptr; }
  QSize size() const { return size_; }
  PixelFormat format() const { return format_; }
  const std::uint8_t* data() const { return pixels_.get(); }
  int stride() const { return size_.width() * 4; }

 private:
  void copyAll(const FrameView& frame);
  void compare(const FrameView& frame, const QRect& area);
  void compareRow(const FrameView& frame, int y, int left, int right);
  std::vector<QRect> changedRects() const;
  std::uint8_t& tile(int column, int row) {
    return changed_[static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_) +
                    static_cast<std::size_t>(column)];
  }

  std::unique_ptr<std::uint8_t[]> pixels_;
  QSize size_;
  PixelFormat format_ = PixelFormat::bgrx;
  int columns_ = 0;
  int rows_ = 0;
  std::vector<std::uint8_t> changed_;  // One for each tile, by rows.
};

}  // namespace vantora
