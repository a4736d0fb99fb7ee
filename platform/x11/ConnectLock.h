// Serialises the opening of connections to X servers.
#pragma once

#include <mutex>

namespace vantora::x11 {

// To be held while a connection is opened: libXau builds the name of the authorisation file in a static buffer. Stays
// locked while a server does not respond.
inline std::timed_mutex& connectMutex() {
  static std::timed_mutex mutex;
  return mutex;
}

}  // namespace vantora::x11
