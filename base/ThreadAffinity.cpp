#include "base/ThreadAffinity.h"

#include <cstdio>
#include <cstdlib>

namespace vantora {

void ThreadAffinity::check(const char* where) const {
  if (std::this_thread::get_id() == owner_) return;
  std::fprintf(stderr, "fatal: %s called from the wrong thread\n", where);
  std::abort();
}

}  // namespace vantora
