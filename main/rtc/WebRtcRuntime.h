// The WebRTC library: its threads and its factory.
#pragma once

#include <memory>

#include "main/rtc/PeerConnection.h"

namespace vantora {

// Starts the library's network, worker and signalling threads and makes peer connections with the
// default video encoder and decoder factories; no audio device is opened. Main thread. Must
// outlive every peer connection and video source made with it.
[[nodiscard]] std::unique_ptr<PeerConnectionFactory> makeWebRtcRuntime();

}  // namespace vantora
