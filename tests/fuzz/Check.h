// The end of a fuzz run: a broken invariant.
#pragma once

#include <cstdlib>

namespace vantora::fuzz {

// Ends the process, which the fuzzer reports together with the input.
inline void require(bool invariant) {
  if (!invariant) std::abort();
}

}  // namespace vantora::fuzz
