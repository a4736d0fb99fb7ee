// The functions of the PipeWire library, which is loaded when it is first needed: a machine without it runs the
// program too.
#pragma once

#include <pipewire/pipewire.h>

namespace vantora {

// Their names are those of the library without its prefix. Functions that its headers define inline need no entry.
struct PipeWireLibrary {
  decltype(&::pw_thread_loop_new) threadLoopNew = nullptr;
  decltype(&::pw_thread_loop_destroy) threadLoopDestroy = nullptr;
  decltype(&::pw_thread_loop_get_loop) threadLoopGetLoop = nullptr;
  decltype(&::pw_thread_loop_start) threadLoopStart = nullptr;
  decltype(&::pw_thread_loop_stop) threadLoopStop = nullptr;
  decltype(&::pw_thread_loop_lock) threadLoopLock = nullptr;
  decltype(&::pw_thread_loop_unlock) threadLoopUnlock = nullptr;
  decltype(&::pw_context_new) contextNew = nullptr;
  decltype(&::pw_context_destroy) contextDestroy = nullptr;
  decltype(&::pw_context_connect_fd) contextConnectFd = nullptr;
  decltype(&::pw_core_disconnect) coreDisconnect = nullptr;
  decltype(&::pw_proxy_destroy) proxyDestroy = nullptr;
  decltype(&::pw_properties_new_string) propertiesNewString = nullptr;
  decltype(&::pw_stream_new) streamNew = nullptr;
  decltype(&::pw_stream_destroy) streamDestroy = nullptr;
  decltype(&::pw_stream_add_listener) streamAddListener = nullptr;
  decltype(&::pw_stream_connect) streamConnect = nullptr;
  decltype(&::pw_stream_update_params) streamUpdateParams = nullptr;
  decltype(&::pw_stream_dequeue_buffer) streamDequeueBuffer = nullptr;
  decltype(&::pw_stream_queue_buffer) streamQueueBuffer = nullptr;
  decltype(&::pw_stream_set_active) streamSetActive = nullptr;

  // Loads and initialises it with the first call; nullptr when this machine does not have it. Any thread.
  static const PipeWireLibrary* get();
};

}  // namespace vantora
