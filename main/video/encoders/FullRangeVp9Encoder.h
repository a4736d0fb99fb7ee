// VP9 with its whole range of quantizers. Heavy header (WebRTC library): include it in .cpp files only.
#pragma once

#include <api/video_codecs/sdp_video_format.h>
#include <api/video_codecs/video_encoder.h>

#include <memory>

namespace vantora {

// The library's own encoder stops at quantizer 52 of 63, at which a page of text is two and a half times as large: too
// much for a slow link. `format` is a VP9 format. The encoder runs on the library's encoder queue.
[[nodiscard]] std::unique_ptr<webrtc::VideoEncoder> makeFullRangeVp9Encoder(const webrtc::SdpVideoFormat& format);

}  // namespace vantora
