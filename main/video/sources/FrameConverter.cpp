#include "main/video/sources/FrameConverter.h"

#include <algorithm>

#include "third_party/libyuv/include/libyuv/convert.h"
#include "third_party/libyuv/include/libyuv/scale.h"

namespace vantora {
namespace {

// Converts rows [top, bottom) of the picture; `top` is even, because two rows share one row of colour.
void convertRows(const ScreenPicture& picture, webrtc::I420Buffer& frame, int top, int bottom) {
  const auto offset = static_cast<std::ptrdiff_t>(top);
  libyuv::ARGBToI420(picture.bgra + offset * picture.stride, picture.stride,
                     frame.MutableDataY() + offset * frame.StrideY(), frame.StrideY(),
                     frame.MutableDataU() + offset / 2 * frame.StrideU(), frame.StrideU(),
                     frame.MutableDataV() + offset / 2 * frame.StrideV(), frame.StrideV(), picture.width, bottom - top);
}

void copyRows(const webrtc::I420Buffer& from, webrtc::I420Buffer& to, int top, int bottom) {
  if (bottom <= top) return;
  const auto offset = static_cast<std::ptrdiff_t>(top);
  libyuv::I420Copy(from.DataY() + offset * from.StrideY(), from.StrideY(), from.DataU() + offset / 2 * from.StrideU(),
                   from.StrideU(), from.DataV() + offset / 2 * from.StrideV(), from.StrideV(),
                   to.MutableDataY() + offset * to.StrideY(), to.StrideY(),
                   to.MutableDataU() + offset / 2 * to.StrideU(), to.StrideU(),
                   to.MutableDataV() + offset / 2 * to.StrideV(), to.StrideV(), from.width(), bottom - top);
}

bool hasSizeOf(const rtc::scoped_refptr<webrtc::I420Buffer>& buffer, const ScreenPicture& picture) {
  return buffer && buffer->width() == picture.width && buffer->height() == picture.height;
}

struct Rows {
  int top;
  int bottom;
};

// The changed rows, widened to whole rows of colour.
Rows changedRows(const ScreenPicture& picture) {
  const int top = std::clamp(picture.changedTop, 0, picture.height) & ~1;
  const int bottom = std::clamp(picture.changedBottom, top, picture.height);
  return {top, std::min(bottom + bottom % 2, picture.height)};
}

// Makes `to` show `picture`, with the unchanged rows taken from `last`, which may be `to` itself.
void update(const ScreenPicture& picture, const rtc::scoped_refptr<webrtc::I420Buffer>& last, webrtc::I420Buffer& to) {
  if (!hasSizeOf(last, picture)) {
    convertRows(picture, to, 0, picture.height);
    return;
  }
  const Rows changed = changedRows(picture);
  if (changed.bottom > changed.top) convertRows(picture, to, changed.top, changed.bottom);
  if (last.get() == &to) return;
  copyRows(*last, to, 0, changed.top);
  copyRows(*last, to, changed.bottom, picture.height);
}

}  // namespace

rtc::scoped_refptr<webrtc::I420Buffer> FrameConverter::newFrame() {
  return pool_.CreateI420Buffer(frameSize_.width(), frameSize_.height());
}

void FrameConverter::convert(const ScreenPicture& picture, const rtc::scoped_refptr<webrtc::I420Buffer>& frame) {
  if (hasSizeOf(frame, picture)) {
    update(picture, lastFrame_, *frame);
    lastFrame_ = frame;
    unscaled_ = nullptr;
    return;
  }
  lastFrame_ = nullptr;
  const auto last = unscaled_;
  if (!hasSizeOf(unscaled_, picture)) unscaled_ = webrtc::I420Buffer::Create(picture.width, picture.height);
  update(picture, last, *unscaled_);
  libyuv::I420Scale(unscaled_->DataY(), unscaled_->StrideY(), unscaled_->DataU(), unscaled_->StrideU(),
                    unscaled_->DataV(), unscaled_->StrideV(), unscaled_->width(), unscaled_->height(),
                    frame->MutableDataY(), frame->StrideY(), frame->MutableDataU(), frame->StrideU(),
                    frame->MutableDataV(), frame->StrideV(), frame->width(), frame->height(), libyuv::kFilterBox);
}

}  // namespace vantora
