#include "platform/portal/pipewire/PipeWireLibrary.h"

#include <dlfcn.h>

#include <cstdlib>
#include <optional>

namespace vantora {
namespace {

template <typename Function>
bool find(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(::dlsym(library, name));
  return function != nullptr;
}

// The library stays loaded: it has threads and global data.
std::optional<PipeWireLibrary> load() {
  void* const library = ::dlopen("libpipewire-0.3.so.0", RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return std::nullopt;
  PipeWireLibrary pw;
  decltype(&::pw_init) init = nullptr;
  decltype(&::pw_log_set_level) logSetLevel = nullptr;
  const bool complete =
      find(library, "pw_init", init) && find(library, "pw_log_set_level", logSetLevel) &&
      find(library, "pw_thread_loop_new", pw.threadLoopNew) &&
      find(library, "pw_thread_loop_destroy", pw.threadLoopDestroy) &&
      find(library, "pw_thread_loop_get_loop", pw.threadLoopGetLoop) &&
      find(library, "pw_thread_loop_start", pw.threadLoopStart) &&
      find(library, "pw_thread_loop_stop", pw.threadLoopStop) &&
      find(library, "pw_thread_loop_lock", pw.threadLoopLock) &&
      find(library, "pw_thread_loop_unlock", pw.threadLoopUnlock) && find(library, "pw_context_new", pw.contextNew) &&
      find(library, "pw_context_destroy", pw.contextDestroy) &&
      find(library, "pw_context_connect_fd", pw.contextConnectFd) &&
      find(library, "pw_core_disconnect", pw.coreDisconnect) && find(library, "pw_proxy_destroy", pw.proxyDestroy) &&
      find(library, "pw_properties_new_string", pw.propertiesNewString) &&
      find(library, "pw_stream_new", pw.streamNew) && find(library, "pw_stream_destroy", pw.streamDestroy) &&
      find(library, "pw_stream_add_listener", pw.streamAddListener) &&
      find(library, "pw_stream_connect", pw.streamConnect) &&
      find(library, "pw_stream_update_params", pw.streamUpdateParams) &&
      find(library, "pw_stream_dequeue_buffer", pw.streamDequeueBuffer) &&
      find(library, "pw_stream_queue_buffer", pw.streamQueueBuffer) &&
      find(library, "pw_stream_set_active", pw.streamSetActive);
  if (!complete) return std::nullopt;
  init(nullptr, nullptr);
  // It writes its warnings to standard error, whose lines are this program's.
  if (std::getenv("PIPEWIRE_DEBUG") == nullptr) logSetLevel(SPA_LOG_LEVEL_NONE);
  return pw;
}

}  // namespace

const PipeWireLibrary* PipeWireLibrary::get() {
  static const std::optional<PipeWireLibrary> loaded = load();
  return loaded ? &*loaded : nullptr;
}

}  // namespace vantora
