#include "tests/wayland/canvas/ShmBuffer.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>

namespace vantora::canvas {

ShmBuffer::ShmBuffer(wl_shm* shm, QSize size, std::function<void()> released)
    : size_(size), bytes_(4U * size.width() * size.height()), released_(std::move(released)) {
  const int memory = ::memfd_create("canvas", MFD_CLOEXEC);
  void* mapped = MAP_FAILED;
  if (memory >= 0 && ::ftruncate(memory, static_cast<off_t>(bytes_)) == 0)
    mapped = ::mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED, memory, 0);
  if (mapped == MAP_FAILED) std::abort();  // A test program without memory.
  pixels_ = static_cast<std::uint32_t*>(mapped);
  wl_shm_pool* pool = wl_shm_create_pool(shm, memory, static_cast<int>(bytes_));
  buffer_ = wl_shm_pool_create_buffer(pool, 0, size.width(), size.height(), 4 * size.width(), WL_SHM_FORMAT_ARGB8888);
  wl_shm_pool_destroy(pool);
  ::close(memory);
  static const wl_buffer_listener listener = {
      .release =
          [](void* data, wl_buffer*) {
            auto& self = *static_cast<ShmBuffer*>(data);
            self.busy_ = false;
            if (self.released_) self.released_();
          },
  };
  wl_buffer_add_listener(buffer_, &listener, this);
}

ShmBuffer::~ShmBuffer() {
  wl_buffer_destroy(buffer_);
  ::munmap(pixels_, bytes_);
}

}  // namespace vantora::canvas
