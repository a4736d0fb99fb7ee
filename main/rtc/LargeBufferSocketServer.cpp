#include "main/rtc/LargeBufferSocketServer.h"

#include <algorithm>

namespace vantora {
namespace {

class LargeBufferSocket final : public rtc::SocketDispatcher {
 public:
  using rtc::SocketDispatcher::SocketDispatcher;

  // The library sets a smaller buffer later, sized for receiving video.
  int SetOption(Option option, int value) override {
    if (option == OPT_RCVBUF) value = std::max(value, LargeBufferSocketServer::kReceiveBuffer);
    return rtc::SocketDispatcher::SetOption(option, value);
  }
};

}  // namespace

rtc::Socket* LargeBufferSocketServer::CreateSocket(int family, int type) {
  auto socket = std::make_unique<LargeBufferSocket>(this);
  if (!socket->Create(family, type)) return nullptr;
  if (type == SOCK_DGRAM) socket->SetOption(rtc::Socket::OPT_RCVBUF, kReceiveBuffer);
  return socket.release();
}

}  // namespace vantora
