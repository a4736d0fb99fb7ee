// A connection of a test to its PipeWire server, with a thread.
#pragma once

#include <fcntl.h>
#include <pipewire/pipewire.h>

#include "tests/wayland/pipewire/PipeWireServer.h"

namespace vantora::testpipewire {

class PipeWireClient {
 public:
  explicit PipeWireClient(const PipeWireServer& server) {
    pw_init(nullptr, nullptr);
    loop_ = pw_thread_loop_new("test", nullptr);
    context_ = pw_context_new(pw_thread_loop_get_loop(loop_), nullptr, 0);
    core_ = pw_context_connect_fd(context_, ::fcntl(server.connect().get(), F_DUPFD_CLOEXEC, 0), nullptr, 0);
    pw_thread_loop_start(loop_);
  }
  // Everything that uses the connection has to be destroyed before.
  ~PipeWireClient() {
    pw_thread_loop_stop(loop_);
    if (core_ != nullptr) pw_core_disconnect(core_);
    pw_context_destroy(context_);
    pw_thread_loop_destroy(loop_);
  }
  PipeWireClient(const PipeWireClient&) = delete;
  PipeWireClient& operator=(const PipeWireClient&) = delete;

  pw_core* core() const { return core_; }
  // Held by the callbacks of the library too.
  class Lock {
   public:
    explicit Lock(const PipeWireClient& client) : loop_(client.loop_) { pw_thread_loop_lock(loop_); }
    ~Lock() { pw_thread_loop_unlock(loop_); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

   private:
    pw_thread_loop* loop_;
  };

 private:
  pw_thread_loop* loop_ = nullptr;
  pw_context* context_ = nullptr;
  pw_core* core_ = nullptr;
};

}  // namespace vantora::testpipewire
