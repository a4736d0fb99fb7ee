// How the next frame is to be encoded.
#pragma once

#include <limits>

namespace vantora {

// Written by ScreenTunedEncoder before each frame and read by the encoder behind it; both run on the library's encoder
// queue.
struct FrameControl {
  // 0 (finest) to 63 (coarsest); less than 0: the encoder's own rate control decides.
  int quantizer = -1;
  // The rows of pixels, from `top` to before `bottom`, that are encoded. Outside them the viewer keeps what it shows. A
  // key frame has all rows.
  int top = 0;
  int bottom = std::numeric_limits<int>::max();
};

}  // namespace vantora
