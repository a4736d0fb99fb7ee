// The picture of the synthetic video source: colour bars and a box that moves with the clock.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

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

// One row of the six colour bars, each max(width / 6, 1) wide; columns left over begin again with
// the first colour. Opaque, `width` pixels of four bytes. Pure.
std::vector<std::uint8_t> barRow(int width);
// Paints the box's columns black in such a row.
void paintBox(std::vector<std::uint8_t>& row, const BoxColumns& box);

// The whole picture at `unixSeconds` (seconds since 1970), none when a side is not positive. For whoever wants it as an
// image; frames come from PatternPainter, which is tested against this. Pure.
std::optional<BgraImage> makePixelBuffer(int width, int height, double unixSeconds);

}  // namespace vantora
