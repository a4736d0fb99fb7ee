// Memory of libvpx and libaom without their habit of writing zeros over all that they allocate. Their encoders provide
// for the most symbols that a frame can have, 50 MB (VP8) and 100 MB (VP9) at 1920 x 1080, and use a few megabytes of
// that: pages that are never written to are not given to the process.
//
// The linker uses these definitions instead of the libraries' (CMakeLists.txt).
#include "main/video/encoders/AlignedMemory.h"

namespace {

constexpr std::size_t kAlignment = 32;

}  // namespace

// NOLINTBEGIN(readability-identifier-naming): the libraries' names.
extern "C" {
void* vpx_memalign(std::size_t align, std::size_t size) { return vantora::alignedMemory(align, size); }
void* vpx_malloc(std::size_t size) { return vantora::alignedMemory(kAlignment, size); }
void* vpx_calloc(std::size_t count, std::size_t size) { return vantora::alignedZeros(kAlignment, count, size); }
void vpx_free(void* memory) { vantora::freeAligned(memory); }

void* aom_memalign(std::size_t align, std::size_t size) { return vantora::alignedMemory(align, size); }
void* aom_malloc(std::size_t size) { return vantora::alignedMemory(kAlignment, size); }
void* aom_calloc(std::size_t count, std::size_t size) { return vantora::alignedZeros(kAlignment, count, size); }
void aom_free(void* memory) { vantora::freeAligned(memory); }
}
// NOLINTEND(readability-identifier-naming)
