// How much of a frame has changed.
#pragma once

#include <cstdint>
#include <vector>

namespace vantora {

// Compares the brightness of each frame with that of the one before, in blocks of 16 by 16. One thread at a time.
class ChangedBlocks {
 public:
  // In pixels; may reach beyond the frame. Empty when a side is 0 or less.
  struct Area {
    int left;
    int top;
    int width;
    int height;
  };

  // The share (0 to 1) of blocks that differ from the frame of the last call; 1 for the first frame and after a
  // change of size. `luma`: `height` rows of `width` bytes, `stride` bytes apart. Outside `area` the frame is the same
  // as in the last call: nothing is read there, except for the first frame and after a change of size.
  double compare(const uint8_t* luma, int stride, int width, int height, const Area& area);
  double compare(const uint8_t* luma, int stride, int width, int height) {
    return compare(luma, stride, width, height, {0, 0, width, height});
  }

 private:
  std::vector<uint8_t> last_;
  int width_ = 0;
  int height_ = 0;
};

}  // namespace vantora
