// How much of a frame is new. A heavy header: for .cpp files that see the library.
#pragma once

#include <api/video/video_frame.h>
#include <api/video/video_frame_buffer.h>

#include "main/video/encoders/ChangedBlocks.h"

namespace vantora {

// The share (0 to 1) of `frame`, whose pixels are `picture`, that differs from the frame of the last call with
// `changes`. A frame with an update rectangle is read there only; it counts from the frame that the library handed over
// before, whether that one was encoded or not. So none of them may be passed over.
inline double changedShare(ChangedBlocks& changes, const webrtc::VideoFrame& frame,
                           const webrtc::I420BufferInterface& picture) {
  const webrtc::VideoFrame::UpdateRect rect = frame.update_rect();  // The whole frame when there is none.
  return changes.compare(picture.DataY(), picture.StrideY(), picture.width(), picture.height(),
                         {rect.offset_x, rect.offset_y, rect.width, rect.height});
}

}  // namespace vantora
