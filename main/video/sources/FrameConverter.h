// From a screen picture to a frame for the encoder. A heavy header: include it in .cpp files only.
#pragma once

#include <QRect>
#include <QSize>
#include <optional>

#include "api/scoped_refptr.h"
#include "api/video/i420_buffer.h"
#include "common_video/include/video_frame_buffer_pool.h"
#include "platform/ScreenCapture.h"

namespace vantora {

// Converts what is damaged to I420 and takes the rest from the picture before. Frames that stand are turned upright.
// When sizes differ the picture is then scaled: the whole of it is stretched to the frame, so that positions stay
// proportional. Frames come from a bounded pool. Thread: the capture thread. Owner: the capture loop.
class FrameConverter {
 public:
  // Frames of `size` from now on (see frameSizeFor for the bounds).
  void setFrameSize(const QSize& size) { frameSize_ = size; }

  // A frame of undefined content, or null while the encoder still holds all frames of the pool.
  rtc::scoped_refptr<webrtc::I420Buffer> newFrame();
  // Fills a frame made by newFrame() with what was captured; returns the rectangle of the frame outside of which it
  // shows the same as the one before, none when the pixels cannot be read. Every captured frame has to come through
  // here, because only what is damaged is converted. The frame must not be written to afterwards.
  std::optional<QRect> convert(const CapturedFrame& captured, const rtc::scoped_refptr<webrtc::I420Buffer>& frame);

 private:
  // Frames alive at once: the one to repeat, the one being made, and those in the encoder's hands.
  static constexpr std::size_t kFrames = 6;

  QRect convert(const CapturedFrame& captured, const CpuPixels& pixels,
                const rtc::scoped_refptr<webrtc::I420Buffer>& frame);
  static void scale(const webrtc::I420Buffer& from, webrtc::I420Buffer& to);

  QSize frameSize_{16, 16};
  webrtc::VideoFrameBufferPool pool_{/*zero_initialize=*/false, kFrames};
  // The display's last picture in I420 at its own size and upright: the last frame itself when it needs no scaling,
  // else a buffer that is kept up to date.
  rtc::scoped_refptr<webrtc::I420Buffer> lastFrame_;
  rtc::scoped_refptr<webrtc::I420Buffer> unscaled_;
  QSize lastScaledTo_;
};

}  // namespace vantora
