// The video encoders that the host offers.
#pragma once

#include <memory>

#include "main/rtc/KeyFrameRequest.h"

namespace webrtc {
class VideoEncoderFactory;
}

namespace vantora {

// Encoders for VP8, VP9 and H.264, in the order in which the library offers their formats, then AV1. Any thread; the
// encoders it makes run on the library's encoder queue. The next frame they encode after a `request` is a key frame.
[[nodiscard]] std::unique_ptr<webrtc::VideoEncoderFactory> makeVideoEncoderFactory(
    std::shared_ptr<const KeyFrameRequest> request);

}  // namespace vantora
