// One connection to an X server is opened at a time.
#pragma once

#include <mutex>

namespace vantora::x11 {

// To be held while a connection is opened: the library that looks up the authorisation builds the
// file's name in a buffer that all threads share.
inline std::mutex& connectMutex() {
  static std::mutex mutex;
  return mutex;
}

}  // namespace vantora::x11
