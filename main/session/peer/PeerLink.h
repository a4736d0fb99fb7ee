// Everything that belongs to one peer connection; replaced as a whole when the peer is rebuilt.
#pragma once

#include <memory>

#include "main/rtc/PeerConnection.h"
#include "main/session/peer/ControlChannels.h"

namespace vantora {

// Thread: main. Owner: Host. Member order is teardown order, read from the bottom: the sender and
// the channels go before the connection they belong to.
struct PeerLink {
  std::unique_ptr<PeerConnection> connection;
  std::unique_ptr<ControlChannels> channels;
  std::unique_ptr<VideoSender> videoSender;
};

}  // namespace vantora
