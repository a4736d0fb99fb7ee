// The wish for a picture that needs no earlier one.
#pragma once

#include <atomic>

namespace vantora {

// Thread: any. One for all encoders of a factory: only one of them is at work at a time.
class KeyFrameRequest {
 public:
  void make() { made_.fetch_add(1, std::memory_order_relaxed); }
  // How often it was made; an encoder grants what was made since it last looked.
  unsigned made() const { return made_.load(std::memory_order_relaxed); }

 private:
  std::atomic<unsigned> made_ = 0;
};

}  // namespace vantora
