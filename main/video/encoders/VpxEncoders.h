// VP8 and VP9 with a quantizer and a part of the screen for each frame. Heavy header (WebRTC library): include it in
// .cpp files only.
#pragma once

#include <api/video_codecs/sdp_video_format.h>
#include <api/video_codecs/video_encoder.h>

#include <memory>

#include "main/video/encoders/FrameControl.h"

namespace vantora {

// The library's encoders with each frame as `control` has it. (By themselves they stop at quantizer 56 of 63 for VP8
// and 52 for VP9, at which a page of text is two and a half times as large: too much for a slow link.) `format` is a
// VP9 format. They run on the library's encoder queue.
[[nodiscard]] std::unique_ptr<webrtc::VideoEncoder> makeVp8Encoder(std::shared_ptr<const FrameControl> control);
[[nodiscard]] std::unique_ptr<webrtc::VideoEncoder> makeVp9Encoder(const webrtc::SdpVideoFormat& format,
                                                                   std::shared_ptr<const FrameControl> control);

}  // namespace vantora
