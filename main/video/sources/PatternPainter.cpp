#include "main/video/sources/PatternPainter.h"

#include <algorithm>
#include <cstring>

#include "main/video/sources/TestPattern.h"
#include "third_party/libyuv/include/libyuv/convert.h"

namespace vantora {
namespace {

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

PatternPainter::PatternPainter(int width, int height)
    : width_(width), height_(height), bars_(barRow(width)), barBand_(bandOf(bars_, width)) {}

void PatternPainter::paint(webrtc::I420Buffer& frame, double unixSeconds) const {
  static_assert(kBoxTop % 2 == 0 && kBoxBottom % 2 == 0, "a row of colour must not belong to both bands");
  const int boxTop = std::min(kBoxTop, height_);
  const int boxBottom = std::min(kBoxBottom, height_);
  spread(*barBand_, frame, 0, boxTop);
  if (boxBottom > boxTop) {
    std::vector<std::uint8_t> boxed = bars_;
    paintBox(boxed, boxColumns(width_, unixSeconds));
    spread(*bandOf(boxed, width_), frame, boxTop, boxBottom);
  }
  if (height_ > boxBottom) spread(*barBand_, frame, boxBottom, height_);
}

}  // namespace vantora
