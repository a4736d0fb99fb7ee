// RAII owner of a file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace vantora {

// Owns a descriptor; -1 means empty.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd = -1) : fd_(fd) {}
  ~FileDescriptor() { reset(); }
  FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) reset(std::exchange(other.fd_, -1));
    return *this;
  }
  void reset(int fd = -1) {
    if (fd_ >= 0) close(fd_);
    fd_ = fd;
  }
  [[nodiscard]] int release() { return std::exchange(fd_, -1); }
  [[nodiscard]] int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace vantora
