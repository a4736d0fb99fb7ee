#include "main/video/encoders/ScrollPath.h"

#include <api/video/i420_buffer.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vantora {
namespace {

struct Plane {
  const uint8_t* before;
  int beforeStride;
  const uint8_t* after;
  int afterStride;
  uint8_t* to;
  int toStride;
  int width;
};

void move(const Plane& plane, int top, int bottom, int distance, int step, int run) {
  for (int y = top; y < bottom; ++y) {
    const uint8_t* still = plane.before + static_cast<std::ptrdiff_t>(y) * plane.beforeStride;
    const uint8_t* now = plane.after + static_cast<std::ptrdiff_t>(y) * plane.afterStride;
    const int source = y + step;
    // What is beyond the edge comes in with `after`.
    const bool isOld = source >= top && source < bottom;
    const int row = std::clamp(isOld ? source : source - distance, top, bottom - 1);
    const uint8_t* moved = isOld ? plane.before + static_cast<std::ptrdiff_t>(row) * plane.beforeStride
                                 : plane.after + static_cast<std::ptrdiff_t>(row) * plane.afterStride;
    uint8_t* to = plane.to + static_cast<std::ptrdiff_t>(y) * plane.toStride;
    for (int x = 0; x < plane.width; x += run) {
      const auto size = static_cast<size_t>(std::min(run, plane.width - x));
      if (std::memcmp(still + x, now + x, size) != 0) std::memcpy(to + x, moved + x, size);
    }
  }
}

}  // namespace

rtc::scoped_refptr<webrtc::I420BufferInterface> scrolledPartly(const webrtc::I420BufferInterface& before,
                                                               const webrtc::I420BufferInterface& after, int top,
                                                               int bottom, int distance, int step) {
  constexpr int kRun = 64;
  const auto made = webrtc::I420Buffer::Copy(after);
  top = std::clamp(top, 0, after.height());
  bottom = std::clamp(bottom, top, after.height());
  move({before.DataY(), before.StrideY(), after.DataY(), after.StrideY(), made->MutableDataY(), made->StrideY(),
        after.width()},
       top, bottom, distance, step, kRun);
  const int chromaBottom = std::min((bottom + 1) / 2, made->ChromaHeight());
  const Plane u{before.DataU(),       before.StrideU(), after.DataU(),      after.StrideU(),
                made->MutableDataU(), made->StrideU(),  made->ChromaWidth()};
  const Plane v{before.DataV(),       before.StrideV(), after.DataV(),      after.StrideV(),
                made->MutableDataV(), made->StrideV(),  made->ChromaWidth()};
  for (const Plane& plane : {u, v}) move(plane, top / 2, chromaBottom, distance / 2, step / 2, kRun / 2);
  return made;
}

}  // namespace vantora
