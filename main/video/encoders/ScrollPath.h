// Pictures on the way of content that scrolls. Heavy header (WebRTC library): include it in .cpp files only.
#pragma once

#include <api/scoped_refptr.h>
#include <api/video/video_frame_buffer.h>

namespace vantora {

// Rows of pixels from `top` to before `bottom`, in which the content has moved up by `distance` from
// `before` to `after` (negative: down; of the same size): the picture at which it has moved by `step` only, a part of
// `distance`. Runs of 64 pixels that are the same in both stand still.
rtc::scoped_refptr<webrtc::I420BufferInterface> scrolledPartly(const webrtc::I420BufferInterface& before,
                                                               const webrtc::I420BufferInterface& after, int top,
                                                               int bottom, int distance, int step);

}  // namespace vantora
