// The transport under the data channels.
#pragma once

#include <api/transport/sctp_transport_factory_interface.h>

#include <memory>

namespace rtc {
class Thread;
}

namespace vantora {

// Makes the library's own transports with a few settings changed. For viewers that send a file: packets are
// acknowledged within a few milliseconds instead of 200 ms: there is one acknowledgement for two packets, and whenever
// one packet was left over, the file stood still for that long. The window offered to the sender is 512 KiB instead of
// 5 MiB: more than a browser can send at once only makes it lose packets. For long texts to the viewer: 64 KiB wait in
// the transport instead of 2 MB, so that a channel's bufferedAmount() tells what has not left. `network` must outlive
// the result.
std::unique_ptr<webrtc::SctpTransportFactoryInterface> makeSctpTransports(rtc::Thread& network);

}  // namespace vantora
