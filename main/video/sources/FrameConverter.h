// From a screen picture to a frame for the encoder. A heavy header: include it in .cpp files only.
#pragma once

#include <QSize>

#include "api/scoped_refptr.h"
#include "api/video/i420_buffer.h"
#include "common_video/include/video_frame_buffer_pool.h"
#include "platform/ScreenCapture.h"

namespace vantora {

// Converts the rows that changed from BGRA to I420 and takes the others from the picture before. When
// sizes differ the picture is then scaled: the whole of it is stretched to the frame, so that
// positions stay proportional. Frames come from a bounded pool. Thread: the capture thread. Owner:
// the capture loop.
class FrameConverter {
 public:
  // Frames of `size` from now on (see frameSizeFor for the bounds).
  void setFrameSize(const QSize& size) { frameSize_ = size; }

  // A frame of undefined content, or null while the encoder still holds all frames of the pool.
  rtc::scoped_refptr<webrtc::I420Buffer> newFrame();
  // Fills a frame made by newFrame() with `picture`. Every changed picture has to come through here,
  // because only the changed rows are converted. The frame must not be written to afterwards.
  void convert(const ScreenPicture& picture, const rtc::scoped_refptr<webrtc::I420Buffer>& frame);

 private:
  // Frames alive at once: the one to repeat, the one being made, and those in the encoder's hands.
  static constexpr std::size_t kFrames = 6;

  QSize frameSize_{16, 16};
  webrtc::VideoFrameBufferPool pool_{/*zero_initialize=*/false, kFrames};
  // The display's last picture in I420 at its own size: the last frame itself when it needs no
  // scaling, else a buffer that is kept up to date.
  rtc::scoped_refptr<webrtc::I420Buffer> lastFrame_;
  rtc::scoped_refptr<webrtc::I420Buffer> unscaled_;
};

}  // namespace vantora
