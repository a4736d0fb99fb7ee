#include "base/FreeMemory.h"

#include <malloc.h>

namespace vantora {

void returnFreeMemory() {
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

void limitAllocatorArenas() {
#ifdef __GLIBC__
  constexpr int kArenas = 2;
  mallopt(M_ARENA_MAX, kArenas);
#endif
}

}  // namespace vantora
