#include "main/video/sources/TestPattern.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace vantora {
namespace {

constexpr int kBytesPerPixel = 4;
constexpr int kBars = 6;
constexpr int kBoxHalfWidth = 20;
constexpr double kBoxColumnsPerSecond = 60;

// Blue, cyan, green, yellow, red, magenta; in memory order (blue, green, red, alpha).
constexpr std::array<std::array<std::uint8_t, 4>, kBars> kBarColours{
    {{255, 0, 0, 255}, {255, 255, 0, 255}, {0, 255, 0, 255}, {0, 255, 255, 255}, {0, 0, 255, 255}, {255, 0, 255, 255}}};

std::ptrdiff_t offsetOf(int x) { return static_cast<std::ptrdiff_t>(x) * kBytesPerPixel; }

}  // namespace

std::array<std::uint8_t, 4> BgraImage::pixel(int x, int y) const {
  std::array<std::uint8_t, 4> value{};
  std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(y) * stride + offsetOf(x), kBytesPerPixel, value.begin());
  return value;
}

BoxColumns boxColumns(int width, double unixSeconds) {
  const auto travelled = static_cast<std::int64_t>(unixSeconds * kBoxColumnsPerSecond);
  const int position = static_cast<int>(travelled % width);
  return {std::max(position - kBoxHalfWidth, 0), std::min(position + kBoxHalfWidth, width)};
}

std::vector<std::uint8_t> barRow(int width) {
  std::vector<std::uint8_t> row(static_cast<std::size_t>(offsetOf(width)));
  const int barWidth = std::max(width / kBars, 1);
  for (int x = 0; x < width; ++x) {
    const auto& colour = kBarColours[static_cast<std::size_t>((x / barWidth) % kBars)];
    std::copy(colour.begin(), colour.end(), row.begin() + offsetOf(x));
  }
  return row;
}

void paintBox(std::vector<std::uint8_t>& row, const BoxColumns& box) {
  constexpr std::array<std::uint8_t, 4> kBlack{0, 0, 0, 255};
  for (int x = box.left; x < box.right; ++x) std::copy(kBlack.begin(), kBlack.end(), row.begin() + offsetOf(x));
}

std::optional<BgraImage> makePixelBuffer(int width, int height, double unixSeconds) {
  if (width <= 0 || height <= 0) return std::nullopt;
  BgraImage image{width, height, static_cast<int>(offsetOf(width)), {}};
  const std::vector<std::uint8_t> bars = barRow(width);
  std::vector<std::uint8_t> boxed = bars;
  paintBox(boxed, boxColumns(width, unixSeconds));
  image.bytes.reserve(bars.size() * static_cast<std::size_t>(height));
  for (int y = 0; y < height; ++y) {
    const std::vector<std::uint8_t>& row = y >= kBoxTop && y < kBoxBottom ? boxed : bars;
    image.bytes.insert(image.bytes.end(), row.begin(), row.end());
  }
  return image;
}

}  // namespace vantora
