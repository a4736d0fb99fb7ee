// Memory of OpenH264 without its habit of writing zeros over all that it allocates: pages that are never written to,
// such as those of pictures that this way of encoding does not use, are not given to the process.
//
// The linker uses these definitions instead of the library's (CMakeLists.txt).
#include <third_party/openh264/src/codec/common/inc/memory_align.h>

#include "main/video/encoders/AlignedMemory.h"

#pragma GCC diagnostic ignored "-Wignored-qualifiers"  // The library's declarations have them.

// NOLINTBEGIN(readability-*,cppcoreguidelines-*,modernize-*): the library's names and types.
namespace WelsCommon {

using vantora::alignedMemory;
using vantora::alignedZeros;
using vantora::freeAligned;

void* WelsMalloc(const uint32_t size, const char*, const uint32_t align) { return alignedMemory(align, size); }
void* WelsMallocz(const uint32_t size, const char*) { return alignedZeros(16, 1, size); }
void WelsFree(void* memory, const char*) { freeAligned(memory); }

// A multiple of 16.
CMemoryAlign::CMemoryAlign(const uint32_t align)
    : m_nCacheLineSize(align == 0 || align % 16 != 0 ? 16 : align), m_nMemoryUsageInBytes(0) {}
CMemoryAlign::~CMemoryAlign() = default;

void* CMemoryAlign::WelsMalloc(const uint32_t size, const char*) { return alignedMemory(m_nCacheLineSize, size); }
void* CMemoryAlign::WelsMallocz(const uint32_t size, const char*) { return alignedZeros(m_nCacheLineSize, 1, size); }
void CMemoryAlign::WelsFree(void* memory, const char*) { freeAligned(memory); }
const uint32_t CMemoryAlign::WelsGetCacheLineSize() const { return m_nCacheLineSize; }
// Not counted; it is only for the library's log.
const uint32_t CMemoryAlign::WelsGetMemoryUsage() const { return m_nMemoryUsageInBytes; }

}  // namespace WelsCommon
// NOLINTEND(readability-*,cppcoreguidelines-*,modernize-*)
