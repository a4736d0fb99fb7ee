#include "main/video/sources/FrameConverter.h"

#include <algorithm>

#include "third_party/libyuv/include/libyuv/convert.h"
#include "third_party/libyuv/include/libyuv/scale.h"

namespace vantora {
namespace {

// Rows [top, bottom) of the picture; `top` is even, because two rows share one row of colour.
void convertRows(const ScreenPicture& picture, webrtc::I420Buffer& frame, int top, int bottom) {
  const auto offset = static_cast<std::ptrdiff_t>(top);
  libyuv::ARGBToI420(picture.bgra + offset * picture.stride, picture.stride,
                     frame.MutableDataY() + offset * frame.StrideY(), frame.StrideY(),
                     frame.MutableDataU() + offset / 2 * frame.StrideU(), frame.StrideU(),
                     frame.MutableDataV() + offset / 2 * frame.StrideV(), frame.StrideV(), picture.width, bottom - top);
}

}  // namespace

void FrameConverter::updateUnscaled(const ScreenPicture& picture) {
  int top = std::clamp(picture.changedTop, 0, picture.height) & ~1;
  int bottom = std::clamp(picture.changedBottom, top, picture.height);
  if (bottom % 2 != 0 && bottom < picture.height) ++bottom;
  if (!unscaled_ || unscaled_->width() != picture.width || unscaled_->height() != picture.height) {
    unscaled_ = webrtc::I420Buffer::Create(picture.width, picture.height);
    top = 0;
    bottom = picture.height;
  }
  if (bottom > top) convertRows(picture, *unscaled_, top, bottom);
}

rtc::scoped_refptr<webrtc::I420Buffer> FrameConverter::newFrame() {
  return pool_.CreateI420Buffer(frameSize_.width(), frameSize_.height());
}

void FrameConverter::convert(const ScreenPicture& picture, webrtc::I420Buffer& frame) {
  if (picture.width == frame.width() && picture.height == frame.height()) {
    unscaled_ = nullptr;
    convertRows(picture, frame, 0, picture.height);
    return;
  }
  updateUnscaled(picture);
  libyuv::I420Scale(unscaled_->DataY(), unscaled_->StrideY(), unscaled_->DataU(), unscaled_->StrideU(),
                    unscaled_->DataV(), unscaled_->StrideV(), unscaled_->width(), unscaled_->height(),
                    frame.MutableDataY(), frame.StrideY(), frame.MutableDataU(), frame.StrideU(), frame.MutableDataV(),
                    frame.StrideV(), frame.width(), frame.height(), libyuv::kFilterBox);
}

}  // namespace vantora
