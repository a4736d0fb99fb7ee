#include "main/video/encoders/AlignedMemory.h"

#include <cstdint>
#include <cstdlib>

namespace vantora {
namespace {

// Room for the alignment, and for the block that the allocator made, which is noted in front of the aligned memory.
bool addRoom(std::size_t align, std::size_t& size) {
  return !__builtin_add_overflow(size, align + sizeof(void*), &size);
}

void* aligned(void* block, std::size_t align) {
  if (block == nullptr) return nullptr;
  const auto first = reinterpret_cast<std::uintptr_t>(block) + sizeof(void*);
  const std::uintptr_t rounded = (first + align - 1) / align * align;
  auto* const memory = reinterpret_cast<void**>(rounded);  // NOLINT(performance-no-int-to-ptr)
  memory[-1] = block;
  return memory;
}

}  // namespace

void* alignedMemory(std::size_t align, std::size_t size) {
  return addRoom(align, size) ? aligned(std::malloc(size), align) : nullptr;
}

void* alignedZeros(std::size_t align, std::size_t count, std::size_t size) {
  if (__builtin_mul_overflow(count, size, &size) || !addRoom(align, size)) return nullptr;
  return aligned(std::calloc(1, size), align);
}

void freeAligned(void* memory) {
  if (memory != nullptr) std::free(static_cast<void**>(memory)[-1]);
}

}  // namespace vantora
