#include "main/rtc/SctpTransports.h"

#include <media/sctp/dcsctp_transport.h>
#include <net/dcsctp/public/dcsctp_options.h>
#include <net/dcsctp/public/dcsctp_socket_factory.h>
#include <rtc_base/thread.h>
#include <system_wrappers/include/clock.h>

namespace vantora {
namespace {

constexpr dcsctp::DurationMs kAckDelay(5);

class Sockets final : public dcsctp::DcSctpSocketFactory {
 public:
  std::unique_ptr<dcsctp::DcSctpSocketInterface> Create(absl::string_view logPrefix,
                                                        dcsctp::DcSctpSocketCallbacks& callbacks,
                                                        std::unique_ptr<dcsctp::PacketObserver> observer,
                                                        const dcsctp::DcSctpOptions& options) override {
    dcsctp::DcSctpOptions quicker = options;
    quicker.delayed_ack_max_timeout = kAckDelay;
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
