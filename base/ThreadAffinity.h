// Guard for classes that belong to one thread. Active in every build.
#pragma once

#include <thread>

namespace vantora {

class ThreadAffinity {
 public:
  // Binds to the calling thread.
  ThreadAffinity() : owner_(std::this_thread::get_id()) {}
  // Ends the process with a message when called from another thread: such a call is a programming error that would
  // otherwise cause rare memory corruption.
  void check(const char* where) const;

 private:
  std::thread::id owner_;
};

}  // namespace vantora
