// The transport under the data channels.
#pragma once

#include <api/transport/sctp_transport_factory_interface.h>

#include <memory>

namespace rtc {
class Thread;
}

namespace vantora {

// Makes the library's own transports with a few settings changed. For viewers that send a file: packets are
// acknowledged within a few milliseconds instead of 200 ms, because two packets share one acknowledgement, and after an
// odd number of packets the transfer paused for that long. The receive window is 512 KiB instead of 5 MiB: a browser
// loses packets if it is offered more than it can send at once. For long texts to the viewer: the transport buffers 64
// KiB instead of 2 MB, so that a channel's bufferedAmount() tells what has not been sent. `network` must outlive the
// result.
std::unique_ptr<webrtc::SctpTransportFactoryInterface> makeSctpTransports(rtc::Thread& network);

}  // namespace vantora
