#include "main/telemetry/system/linux/FileReader.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace vantora {

std::string_view FileReader::read(int folder, const char* path, std::size_t limit) {
  // Opening something other than a regular file must not block.
  const int fd = openat(folder, path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (fd < 0) return {};
  std::size_t size = 0;
  for (;;) {
    const std::size_t room = std::min(buffer_.size(), limit) - size;
    if (room == 0) {
      if (buffer_.size() >= limit) break;
      buffer_.resize(std::min(buffer_.size() * 2, limit));
      continue;
    }
    const ssize_t count = ::read(fd, buffer_.data() + size, room);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    size += static_cast<std::size_t>(count);
    // The kernel returns about a page of whole lines per read: much less than that is the end.
    if (static_cast<std::size_t>(count) < room && size < 2048) break;
  }
  close(fd);
  return {buffer_.data(), size};
}

}  // namespace vantora
