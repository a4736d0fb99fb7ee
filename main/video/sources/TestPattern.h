// The image of the synthetic video source: colour bars and a box that moves with the clock. Heavy header (WebRTC
// library): include it in .cpp files only.
#pragma once

#include <QRect>
#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "api/video/i420_buffer.h"

namespace vantora {

// An image of rows from the top; four bytes a pixel: blue, green, red, alpha.
struct BgraImage {
  int width = 0;
  int height = 0;
  int stride = 0;  // Bytes from one row to the next.
  std::vector<std::uint8_t> bytes;

  // The four bytes of the pixel in column x of row y.
  std::array<std::uint8_t, 4> pixel(int x, int y) const;
};

// The rows that the moving box covers, cut off at the image's last row.
inline constexpr int kBoxTop = 40;
inline constexpr int kBoxBottom = 80;  // The first row below it.

// Columns [left, right) of the box: 40 wide around a position that runs 60 columns a second and
// wraps at `width`; cut off at both edges. `width` is positive. Pure.
struct BoxColumns {
  int left = 0;
  int right = 0;
  bool operator==(const BoxColumns&) const = default;
};
BoxColumns boxColumns(int width, double unixSeconds);

// The whole image at `unixSeconds` (seconds since 1970), empty optional if a side is not positive. Six bars, each
// max(width / 6, 1) wide; columns left over begin again with the first colour. A reference: frames come from
// TestPattern, which is tested against this. Pure.
std::optional<BgraImage> makePixelBuffer(int width, int height, double unixSeconds);

// Makes exactly the frame that converting the image of makePixelBuffer() would give, without the image: there are only
// two different rows (bars, bars with the box), so two rows are converted and copied. Thread: any, one at a time.
// Owner: the synthetic source.
class TestPattern {
 public:
  // Both sides positive.
  TestPattern(int width, int height);
  // Draws the image at `unixSeconds` into `frame`, which has the pattern's size. Returns the rectangle of the box, in
  // whole chroma samples: two frames differ within both of theirs only. Empty when the frame ends above the box.
  QRect paint(webrtc::I420Buffer& frame, double unixSeconds) const;

 private:
  int width_;
  int height_;
  std::vector<std::uint8_t> bars_;
  rtc::scoped_refptr<webrtc::I420Buffer> barBand_;  // Two rows of luma, one of each chroma plane.
};

}  // namespace vantora
