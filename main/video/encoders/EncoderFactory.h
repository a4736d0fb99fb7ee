// The video encoders that the host offers.
#pragma once

#include <memory>

#include "main/rtc/KeyFrameRequest.h"

namespace webrtc {
class VideoEncoderFactory;
}

namespace vantora {

// The library's built-in encoders (VP8, VP9, H.264) and AV1 through libaom, in this order. Any
// thread; the encoders it makes run on the library's encoder queue. What they encode next after `wish` was made is a
// key frame.
[[nodiscard]] std::unique_ptr<webrtc::VideoEncoderFactory> makeVideoEncoderFactory(
    std::shared_ptr<const KeyFrameRequest> wish);

}  // namespace vantora
