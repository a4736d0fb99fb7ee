#include "main/video/sources/TestPattern.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "third_party/libyuv/include/libyuv/convert.h"

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

// One row of the bars.
std::vector<std::uint8_t> barRow(int width) {
  std::vector<std::uint8_t> row(static_cast<std::size_t>(offsetOf(width)));
  const int barWidth = std::max(width / kBars, 1);
  for (int x = 0; x < width; ++x) {
    const auto& colour = kBarColours[static_cast<std::size_t>((x / barWidth) % kBars)];
    std::copy(colour.begin(), colour.end(), row.begin() + offsetOf(x));
  }
  return row;
}

// Paints the box's columns black in a row of bars.
void paintBox(std::vector<std::uint8_t>& row, const BoxColumns& box) {
  constexpr std::array<std::uint8_t, 4> kBlack{0, 0, 0, 255};
  for (int x = box.left; x < box.right; ++x) std::copy(kBlack.begin(), kBlack.end(), row.begin() + offsetOf(x));
}

rtc::scoped_refptr<webrtc::I420Buffer> bandOf(const std::vector<std::uint8_t>& row, int width) {
  auto band = webrtc::I420Buffer::Create(width, 2);
  // A stride of 0 reads the one row twice.
  libyuv::ARGBToI420(row.data(), 0, band->MutableDataY(), band->StrideY(), band->MutableDataU(), band->StrideU(),
                     band->MutableDataV(), band->StrideV(), width, 2);
  return band;
}

void copyDown(const std::uint8_t* row, std::uint8_t* plane, int stride, int width, int top, int bottom) {
  for (int y = top; y < bottom; ++y) {
    std::memcpy(plane + static_cast<std::ptrdiff_t>(y) * stride, row, static_cast<std::size_t>(width));
  }
}

// Rows [top, bottom) of the frame become copies of the band; `top` is even.
void spread(const webrtc::I420Buffer& band, webrtc::I420Buffer& frame, int top, int bottom) {
  copyDown(band.DataY(), frame.MutableDataY(), frame.StrideY(), frame.width(), top, bottom);
  const int colourBottom = (bottom + 1) / 2;
  copyDown(band.DataU(), frame.MutableDataU(), frame.StrideU(), frame.ChromaWidth(), top / 2, colourBottom);
  copyDown(band.DataV(), frame.MutableDataV(), frame.StrideV(), frame.ChromaWidth(), top / 2, colourBottom);
}

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

TestPattern::TestPattern(int width, int height)
    : width_(width), height_(height), bars_(barRow(width)), barBand_(bandOf(bars_, width)) {}

QRect TestPattern::paint(webrtc::I420Buffer& frame, double unixSeconds) const {
  static_assert(kBoxTop % 2 == 0 && kBoxBottom % 2 == 0, "a row of colour must not belong to both bands");
  const int boxTop = std::min(kBoxTop, height_);
  const int boxBottom = std::min(kBoxBottom, height_);
  spread(*barBand_, frame, 0, boxTop);
  if (boxBottom == boxTop) return {};
  const BoxColumns box = boxColumns(width_, unixSeconds);
  std::vector<std::uint8_t> boxed = bars_;
  paintBox(boxed, box);
  spread(*bandOf(boxed, width_), frame, boxTop, boxBottom);
  if (height_ > boxBottom) spread(*barBand_, frame, boxBottom, height_);
  return {QPoint(box.left & ~1, boxTop), QPoint(std::min(box.right | 1, width_ - 1), boxBottom - 1)};
}

}  // namespace vantora
