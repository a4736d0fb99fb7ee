// From a screen picture to a frame for the encoder. A heavy header: include it in .cpp files only.
#pragma once

#include <QSize>

#include "api/scoped_refptr.h"
#include "api/video/i420_buffer.h"
#include "common_video/include/video_frame_buffer_pool.h"
#include "platform/ScreenCapture.h"

namespace vantora {

// Converts BGRA to I420 once and scales, when sizes differ, once more; the whole picture is
// stretched to the frame, so that positions stay proportional. Frames come from a bounded pool.
// Thread: the capture thread. Owner: the capture loop.
class FrameConverter {
 public:
  // Frames of `size` from now on (see frameSizeFor for the bounds).
  void setFrameSize(const QSize& size) { frameSize_ = size; }

  // A frame of undefined content, or null while the encoder still holds all frames of the pool.
  rtc::scoped_refptr<webrtc::I420Buffer> newFrame();
  // Fills a frame made by newFrame() with `picture`. Every changed picture has to come through here:
  // with scaling only the changed rows are converted.
  void convert(const ScreenPicture& picture, webrtc::I420Buffer& frame);

 private:
  // Frames alive at once: the one to repeat, the one being made, and those in the encoder's hands.
  static constexpr std::size_t kFrames = 6;

  void updateUnscaled(const ScreenPicture& picture);

  QSize frameSize_{16, 16};
  webrtc::VideoFrameBufferPool pool_{/*zero_initialize=*/false, kFrames};
  // The display's picture in I420 at its own size, kept up to date while frames are scaled.
  rtc::scoped_refptr<webrtc::I420Buffer> unscaled_;
};

}  // namespace vantora
