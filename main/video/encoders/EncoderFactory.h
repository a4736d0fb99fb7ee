// The video encoders that the host offers.
#pragma once

#include <memory>

#include "main/rtc/KeyFrameRequest.h"

namespace webrtc {
class VideoEncoderFactory;
}

namespace vantora {

// Encoders of what the library offers (VP8, VP9, H.264) and of AV1, in this order. Any thread; the encoders it makes
// run on the library's encoder queue. The next frame they encode after a `request` is a key frame.
[[nodiscard]] std::unique_ptr<webrtc::VideoEncoderFactory> makeVideoEncoderFactory(
    std::shared_ptr<const KeyFrameRequest> request);

}  // namespace vantora
