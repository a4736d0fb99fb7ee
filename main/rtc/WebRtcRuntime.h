// The WebRTC library: its threads and its factory.
#pragma once

#include <memory>

#include "main/rtc/KeyFrameRequest.h"
#include "main/rtc/PeerConnection.h"

namespace webrtc {
class VideoEncoderFactory;
}

namespace vantora {

// Makes the video encoders of a runtime; the next frame they encode after a request is a key frame.
using VideoEncoderFactoryMaker =
    std::unique_ptr<webrtc::VideoEncoderFactory> (*)(std::shared_ptr<const KeyFrameRequest>);

// Starts the library's network, worker and signalling threads and makes peer connections with the encoders of
// `makeEncoders` and the library's decoders; no audio device is opened. Main thread. Must outlive every peer connection
// and video source made with it.
[[nodiscard]] std::unique_ptr<PeerConnectionFactory> makeWebRtcRuntime(VideoEncoderFactoryMaker makeEncoders);

}  // namespace vantora
