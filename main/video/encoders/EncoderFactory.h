// The video encoders that the host offers. A heavy header: for .cpp files that see the library.
#pragma once

#include <api/video_codecs/video_encoder_factory.h>

#include <memory>

#include "main/video/encoders/KeyFrameRequest.h"

namespace vantora {

// The library's built-in encoders (VP8, VP9, H.264) and AV1 through libaom, in this order. Any
// thread; the encoders it makes run on the library's encoder queue. What they encode next after `wish` was made is a
// key frame.
[[nodiscard]] std::unique_ptr<webrtc::VideoEncoderFactory> makeVideoEncoderFactory(
    std::shared_ptr<const KeyFrameRequest> wish);

}  // namespace vantora
