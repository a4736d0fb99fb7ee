// Converts captured images to frames for the encoder. Heavy header (WebRTC library): include it in .cpp files only.
#pragma once

#include <QRect>
#include <QSize>
#include <optional>

#include "api/scoped_refptr.h"
#include "api/video/i420_buffer.h"
#include "common_video/include/video_frame_buffer_pool.h"
#include "platform/ScreenCapture.h"

namespace vantora {

// Converts the damaged rectangles to I420 and takes the rest from the previous image. Rotated and mirrored
// images are shown upright. If the sizes differ, the whole image is then stretched to the frame, so that positions stay
// proportional. Frames come from a bounded pool. Thread: the capture thread. Owner: the capture loop.
class FrameConverter {
 public:
  // Frames of `size` from now on (see frameSizeFor for the bounds).
  void setFrameSize(const QSize& size) { frameSize_ = size; }

  // Frees the frames of the pool that are not in use.
  void releaseUnused() { pool_.Release(); }
  // A frame of undefined content, or null while the encoder still holds all frames of the pool.
  rtc::scoped_refptr<webrtc::I420Buffer> newFrame();
  // Fills a frame made by newFrame(). Returns the rectangle of the frame that differs from the previous one. Must be
  // called for every captured frame, because only the damaged rectangles are converted. The frame must not be written
  // to afterwards. Empty optional if the pixels cannot be read: their damage is unknown to the previous image, so the
  // next frame is converted whole.
  std::optional<QRect> convert(const CapturedFrame& captured, const rtc::scoped_refptr<webrtc::I420Buffer>& frame);

 private:
  // Maximum of frames in use: the one to repeat, the one being made, and those held by the encoder.
  static constexpr std::size_t kFrames = 6;

  QRect convert(const CapturedFrame& captured, const CpuPixels& pixels,
                const rtc::scoped_refptr<webrtc::I420Buffer>& frame);
  static void scale(const webrtc::I420Buffer& from, webrtc::I420Buffer& to);

  QSize frameSize_{16, 16};
  webrtc::VideoFrameBufferPool pool_{/*zero_initialize=*/false, kFrames};
  // The display's last image in I420, in its own size and upright: the last frame itself if no scaling is needed, else
  // a buffer that is kept up to date.
  rtc::scoped_refptr<webrtc::I420Buffer> lastFrame_;
  rtc::scoped_refptr<webrtc::I420Buffer> unscaled_;
  QSize lastScaledTo_;
};

}  // namespace vantora
