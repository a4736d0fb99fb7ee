// Pixels shared with the compositor.
#pragma once

#include <wayland-client.h>

#include <QSize>
#include <cstdint>
#include <functional>

namespace vantora::canvas {

// An image of premultiplied 0xAARRGGBB pixels, rows from the top without gaps.
class ShmBuffer {
 public:
  // `released` is called when the compositor has read it.
  ShmBuffer(wl_shm* shm, QSize size, std::function<void()> released = {});
  ~ShmBuffer();
  ShmBuffer(const ShmBuffer&) = delete;
  ShmBuffer& operator=(const ShmBuffer&) = delete;

  wl_buffer* proxy() const { return buffer_; }
  std::uint32_t* pixels() const { return pixels_; }
  QSize size() const { return size_; }
  // From attaching until the compositor has read it.
  bool busy() const { return busy_; }
  void setBusy() { busy_ = true; }

 private:
  QSize size_;
  std::size_t bytes_ = 0;
  std::uint32_t* pixels_ = nullptr;
  wl_buffer* buffer_ = nullptr;
  bool busy_ = false;
  std::function<void()> released_;
};

}  // namespace vantora::canvas
