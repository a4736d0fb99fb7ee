// How much of a frame has changed. Heavy header (WebRTC library): include it in .cpp files only.
#pragma once

#include <api/video/video_frame.h>
#include <api/video/video_frame_buffer.h>

#include "main/video/encoders/ChangedBlocks.h"

namespace vantora {

// The share (0 to 1) of `frame`, with its pixels in `buffer`, that differs from the frame of the last call with
// `changes`. If the frame has an update rectangle, only that is read. The rectangle is relative to the previous frame
// from the library, whether that was encoded or not, so this must be called for every frame.
inline double changedShare(ChangedBlocks& changes, const webrtc::VideoFrame& frame,
                           const webrtc::I420BufferInterface& buffer) {
  const webrtc::VideoFrame::UpdateRect rect = frame.update_rect();  // The whole frame when there is none.
  return changes.compare(buffer.DataY(), buffer.StrideY(), buffer.width(), buffer.height(),
                         {rect.offset_x, rect.offset_y, rect.width, rect.height});
}

}  // namespace vantora
