// How much of a frame has changed. Heavy header (WebRTC library): include it in .cpp files only.
#pragma once

#include <api/video/video_frame.h>
#include <api/video/video_frame_buffer.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "main/video/encoders/ScrollDetector.h"

namespace vantora {

// Whether two pictures of the same size have the same chroma. Any thread.
bool sameColours(const webrtc::I420BufferInterface& a, const webrtc::I420BufferInterface& b);

// Compares the brightness of each frame with that of the one before, in blocks of 16 by 16. One thread at a time.
class ChangeDetector {
 public:
  // The share of a frame to count as changed when only colours are.
  static constexpr double kColourShare = 1e-4;

  // In pixels; may reach beyond the frame. Empty when a side is 0 or less.
  struct Area {
    int left;
    int top;
    int width;
    int height;
  };

  // Rows of pixels, from `top` to before `bottom`.
  struct Rows {
    int top = 0;
    int bottom = 0;
  };

  // The share (0 to 1) of `frame`, with its pixels in `buffer`, that differs from the frame of the last call. If the
  // frame has an update rectangle, only that is read, unless the frame comes long after the last one. The rectangle is
  // relative to the previous frame from the library, whether that was encoded or not, so this must be called for every
  // frame.
  double changedShare(const webrtc::VideoFrame& frame, const webrtc::I420BufferInterface& buffer);
  // By how many rows the content of the changed area has moved up since the frame of the last call of changedShare(),
  // negative: down. Empty for new content and for small areas. To be called before changedShare().
  std::optional<int> scrolledBy(const webrtc::VideoFrame& frame, const webrtc::I420BufferInterface& buffer);

  // The share (0 to 1) of blocks that differ from the frame of the last call; 1 for the first frame and after a
  // change of size. `luma`: `height` rows of `width` bytes, `stride` bytes apart. Outside `area` the frame is the same
  // as in the last call: nothing is read there, except for the first frame and after a change of size.
  double compare(const uint8_t* luma, int stride, int width, int height, const Area& area);
  double compare(const uint8_t* luma, int stride, int width, int height) {
    return compare(luma, stride, width, height, {0, 0, width, height});
  }

  // The rows that contain all changes found by the last call, in whole blocks; empty when there were none.
  Rows changedRows() const { return rows_; }
  // For each row of blocks whether the last call found a change there.
  const std::vector<bool>& changedBlockRows() const { return blockRows_; }

 private:
  Area changedArea(const webrtc::VideoFrame& frame, const webrtc::I420BufferInterface& buffer) const;

  ScrollDetector scroll_;
  std::vector<uint8_t> last_;
  Rows rows_;
  std::vector<bool> blockRows_;
  int width_ = 0;
  int height_ = 0;
  std::optional<int64_t> lastUs_;  // Timestamp of the frame of the last changedShare().
};

}  // namespace vantora
