// A request for a key frame.
#pragma once

#include <atomic>

namespace vantora {

// Thread: any. Shared by all encoders of a factory, of which only one is active at a time.
class KeyFrameRequest {
 public:
  void request() { count_.fetch_add(1, std::memory_order_relaxed); }
  // Number of requests so far; an encoder compares it with the number at its last check.
  unsigned count() const { return count_.load(std::memory_order_relaxed); }

 private:
  std::atomic<unsigned> count_ = 0;
};

}  // namespace vantora
