// The video encoders that the host offers.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "main/rtc/KeyFrameRequest.h"

namespace webrtc {
class VideoEncoderFactory;
}

namespace vantora {

// Encoders of the formats that the library offers (VP8, VP9, H.264) and of AV1, in this order. Any thread; the encoders
// it makes run on the library's encoder queue. The next frame they encode after a `request` is a key frame.
[[nodiscard]] std::unique_ptr<webrtc::VideoEncoderFactory> makeVideoEncoderFactory(
    std::shared_ptr<const KeyFrameRequest> request);
// The same; encoders that measure real time (OpenH264Encoder) read it from `clock`.
[[nodiscard]] std::unique_ptr<webrtc::VideoEncoderFactory> makeVideoEncoderFactory(
    std::shared_ptr<const KeyFrameRequest> request, std::function<std::chrono::nanoseconds()> clock);

}  // namespace vantora
