// Everything that belongs to one peer connection; replaced as a whole when the peer is rebuilt.
#pragma once

#include <memory>

#include "main/rtc/PeerConnection.h"
#include "main/session/peer/ControlChannels.h"

namespace vantora {

// Thread: main. Owner: Host. Members are destroyed from the bottom up: the sender and the channels before the
// connection they belong to.
struct PeerLink {
  std::unique_ptr<PeerConnection> connection;
  std::unique_ptr<ControlChannels> channels;
  std::unique_ptr<VideoSender> videoSender;
  int restartsForViewer = 0;  // ICE restarts that the viewer requested.
};

}  // namespace vantora
