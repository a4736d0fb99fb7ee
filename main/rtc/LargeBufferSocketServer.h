// Sockets whose receive buffer is large enough for data that arrives while the network thread is busy.
#pragma once

#include <rtc_base/physical_socket_server.h>

namespace vantora {

// The library's socket server, except that its sockets have a receive buffer of kReceiveBuffer bytes, or as many as the
// system allows (net.core.rmem_max). Packets that do not fit are lost: each loss slows down a viewer that sends a file,
// which fills the system's default buffer within a few milliseconds. Thread: the network thread. Owner: that thread.
class LargeBufferSocketServer final : public rtc::PhysicalSocketServer {
 public:
  static constexpr int kReceiveBuffer = 4 * 1024 * 1024;

  rtc::Socket* CreateSocket(int family, int type) override;
};

}  // namespace vantora
