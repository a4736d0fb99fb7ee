// What changed since the last encoded frame. Heavy header (WebRTC library): include it in .cpp files only.
#pragma once

#include <api/video/video_frame.h>
#include <api/video/video_frame_buffer.h>

#include <vector>

#include "main/video/encoders/ChangeDetector.h"
#include "main/video/encoders/QuantizerControl.h"

namespace vantora {

// Changes in dropped frames still have to be shown: they add up. One thread at a time.
struct PendingChange {
  QuantizerControl::Change change;
  int scrolledBy = 0;       // Rows of pixels by which the content has moved up; negative: down.
  int longestScroll = 0;    // Of one frame.
  double largestFresh = 0;  // Of one frame.
  // Outside of it nothing has changed, not even a colour.
  webrtc::VideoFrame::UpdateRect area{0, 0, 0, 0};
  // The rows of blocks in which the brightness has changed; empty: none.
  std::vector<bool> touched;

  // Adds what `changes` finds in `frame`, with its pixels in `buffer`; to be called for every frame. `shown`: a picture
  // of the same size, from which a difference in colour only counts as a change as well; null: it does not.
  void add(ChangeDetector& changes, const webrtc::VideoFrame& frame, const webrtc::I420BufferInterface& buffer,
           const webrtc::I420BufferInterface* shown);
};

}  // namespace vantora
