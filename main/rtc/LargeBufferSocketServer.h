// Sockets with room for what arrives while the network thread is busy.
#pragma once

#include <rtc_base/physical_socket_server.h>

namespace vantora {

// The library's own socket server, except that its sockets have a receive buffer of kReceiveBuffer bytes, or as many as
// the system allows (net.core.rmem_max). What finds no room is lost: each such loss makes a viewer that sends a file
// slow down, and the system's usual buffer is full after a few milliseconds of it. Thread: the network thread. Owner:
// that thread.
class LargeBufferSocketServer final : public rtc::PhysicalSocketServer {
 public:
  static constexpr int kReceiveBuffer = 4 * 1024 * 1024;

  rtc::Socket* CreateSocket(int family, int type) override;
};

}  // namespace vantora
