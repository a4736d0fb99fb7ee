#include "main/base/FreeMemory.h"

#include <malloc.h>

namespace vantora {

void returnFreeMemory() {
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

}  // namespace vantora
