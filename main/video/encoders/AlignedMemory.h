// Memory for the vector instructions of encoders.
#pragma once

#include <cstddef>

namespace vantora {

// At addresses that are multiples of `align`, a power of two. Null without memory. Any thread.
void* alignedMemory(std::size_t align, std::size_t size);
// The same, with zeros, for `count` objects. Large blocks take memory only where they are written to.
void* alignedZeros(std::size_t align, std::size_t count, std::size_t size);
// Frees a block that one of the functions above made, or nothing if it is null.
void freeAligned(void* memory);

}  // namespace vantora
