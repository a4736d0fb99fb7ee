#include "base/FreeMemory.h"

#include <malloc.h>

namespace vantora {

void returnFreeMemory() {
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

void tuneAllocator() {
#ifdef __GLIBC__
  constexpr int kArenas = 2;
  constexpr int kLargeBlock = 256 << 10;
  mallopt(M_ARENA_MAX, kArenas);
  mallopt(M_MMAP_THRESHOLD, kLargeBlock);
#endif
}

}  // namespace vantora
