// The test pattern, made as an I420 frame straight away. A heavy header: include it in .cpp files
// only.
#pragma once

#include <cstdint>
#include <vector>

#include "api/video/i420_buffer.h"

namespace vantora {

// Makes exactly the frame that converting makePixelBuffer's image would give, without the image: all
// rows are one of two (bars, bars with the box), so two rows are converted and copied down.
// Thread: any one. Owner: the synthetic source.
class PatternPainter {
 public:
  // Both sides positive.
  PatternPainter(int width, int height);
  // Draws the picture at `unixSeconds` into `frame`, which has the painter's size.
  void paint(webrtc::I420Buffer& frame, double unixSeconds) const;

 private:
  int width_;
  int height_;
  std::vector<std::uint8_t> bars_;
  rtc::scoped_refptr<webrtc::I420Buffer> barBand_;  // Two rows, one of each colour plane.
};

}  // namespace vantora
