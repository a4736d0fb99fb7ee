// Memory of libvpx and libaom without their habit of writing zeros over all that they allocate. Their encoders provide
// for the most symbols that a frame can have, 50 MB (VP8) and 100 MB (VP9) at 1920 x 1080, and use a few megabytes of
// that: pages that are never written to are not given to the process.
//
// The linker uses these definitions instead of the libraries' (CMakeLists.txt).
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

constexpr std::size_t kAlignment = 32;  // For vector instructions.

// Room for the alignment, and for the block that the allocator made, which is noted in front of the aligned memory.
bool addRoom(std::size_t align, std::size_t& size) {
  return !__builtin_add_overflow(size, align + sizeof(void*), &size);
}

void* aligned(void* block, std::size_t align) {
  if (block == nullptr) return nullptr;
  const auto first = reinterpret_cast<std::uintptr_t>(block) + sizeof(void*);
  auto* const memory =
      reinterpret_cast<void**>((first + align - 1) / align * align);  // NOLINT(performance-no-int-to-ptr)
  memory[-1] = block;
  return memory;
}

void* allocate(std::size_t align, std::size_t size) {
  return addRoom(align, size) ? aligned(std::malloc(size), align) : nullptr;
}

void* allocateZeros(std::size_t count, std::size_t size) {
  if (__builtin_mul_overflow(count, size, &size) || !addRoom(kAlignment, size)) return nullptr;
  return aligned(std::calloc(1, size), kAlignment);
}

void release(void* memory) {
  if (memory != nullptr) std::free(static_cast<void**>(memory)[-1]);
}

}  // namespace

// NOLINTBEGIN(readability-identifier-naming): the libraries' names.
extern "C" {
void* vpx_memalign(std::size_t align, std::size_t size) { return allocate(align, size); }
void* vpx_malloc(std::size_t size) { return allocate(kAlignment, size); }
void* vpx_calloc(std::size_t count, std::size_t size) { return allocateZeros(count, size); }
void vpx_free(void* memory) { release(memory); }

void* aom_memalign(std::size_t align, std::size_t size) { return allocate(align, size); }
void* aom_malloc(std::size_t size) { return allocate(kAlignment, size); }
void* aom_calloc(std::size_t count, std::size_t size) { return allocateZeros(count, size); }
void aom_free(void* memory) { release(memory); }
}
// NOLINTEND(readability-identifier-naming)
