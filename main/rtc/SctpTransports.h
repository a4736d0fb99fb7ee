// The transport under the data channels.
#pragma once

#include <api/transport/sctp_transport_factory_interface.h>

#include <memory>

namespace rtc {
class Thread;
}

namespace vantora {

// Makes the library's own transports with one setting changed: packets are acknowledged within a few milliseconds
// instead of 200 ms. A viewer that sends a file waits for acknowledgements, of which there is one for two packets;
// whenever one packet is left over, the file stood still for that long. `network` must outlive the result.
std::unique_ptr<webrtc::SctpTransportFactoryInterface> makeSctpTransports(rtc::Thread& network);

}  // namespace vantora
