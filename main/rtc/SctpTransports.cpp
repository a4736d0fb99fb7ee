#include "main/rtc/SctpTransports.h"

#include <media/sctp/dcsctp_transport.h>
#include <net/dcsctp/public/dcsctp_options.h>
#include <net/dcsctp/public/dcsctp_socket_factory.h>
#include <rtc_base/thread.h>
#include <system_wrappers/include/clock.h>

namespace vantora {
namespace {

constexpr dcsctp::DurationMs kAckDelay(5);
// Maximum of bytes in flight from a viewer; above the 256 KiB of the largest message. With the library's 5 MB a
// browser's slow start sends more at once than its own send queue holds, which discards the rest: the first file of a
// session is very slow.
constexpr size_t kReceiveWindow{512 * 1024};
// Maximum of bytes buffered in the transport, and the level at which it requests more. A channel's bufferedAmount()
// does not include them: with the library's 2 MB a long clipboard text would be passed on at once, and everything after
// it would wait for as long as a slow link takes to send that much.
constexpr size_t kSendBuffer{64 * 1024};
constexpr size_t kSendMoreBelow{32 * 1024};

class Sockets final : public dcsctp::DcSctpSocketFactory {
 public:
  std::unique_ptr<dcsctp::DcSctpSocketInterface> Create(absl::string_view logPrefix,
                                                        dcsctp::DcSctpSocketCallbacks& callbacks,
                                                        std::unique_ptr<dcsctp::PacketObserver> observer,
                                                        const dcsctp::DcSctpOptions& options) override {
    dcsctp::DcSctpOptions quicker = options;
    quicker.delayed_ack_max_timeout = kAckDelay;
    quicker.max_receiver_window_buffer_size = kReceiveWindow;
    quicker.max_send_buffer_size = kSendBuffer;
    quicker.total_buffered_amount_low_threshold = kSendMoreBelow;
    return dcsctp::DcSctpSocketFactory::Create(logPrefix, callbacks, std::move(observer), quicker);
  }
};

class SctpTransports final : public webrtc::SctpTransportFactoryInterface {
 public:
  explicit SctpTransports(rtc::Thread& network) : network_(network) {}

  std::unique_ptr<cricket::SctpTransportInternal> CreateSctpTransport(
      rtc::PacketTransportInternal* transport) override {
    return std::make_unique<webrtc::DcSctpTransport>(&network_, transport, webrtc::Clock::GetRealTimeClock(),
                                                     std::make_unique<Sockets>());
  }

 private:
  rtc::Thread& network_;
};

}  // namespace

std::unique_ptr<webrtc::SctpTransportFactoryInterface> makeSctpTransports(rtc::Thread& network) {
  return std::make_unique<SctpTransports>(network);
}

}  // namespace vantora
