// One connection to an X server is opened at a time.
#pragma once

#include <mutex>

namespace vantora::x11 {

// To be held while a connection is opened: the library that looks up the authorisation builds the
// file's name in a buffer that all threads share. A server that says nothing keeps it locked.
inline std::timed_mutex& connectMutex() {
  static std::timed_mutex mutex;
  return mutex;
}

}  // namespace vantora::x11
