// The processor time of the threads that encode.
#pragma once

#include <sys/types.h>

#include <set>

namespace vantora {

// Counts the calling thread and those that an encoder has started on it. Use on the thread that encodes only.
class EncoderCpuClock {
 public:
  // Processor time since any fixed instant, in seconds, of these threads.
  double seconds() const;
  // Encoders start threads when they are opened, with their first frames and with key frames: the threads that appear
  // in the program between these two calls count as the encoder's.
  void beforeStart();
  void afterStart();
  // Forgets all but the calling thread.
  void reset() { threads_.clear(); }

 private:
  std::set<pid_t> others_;
  std::set<pid_t> threads_;
};

}  // namespace vantora
