// Reads small kernel files without an allocation for each.
#pragma once

#include <string_view>
#include <vector>

namespace vantora {

// One buffer for many files. Thread: one at a time.
class FileReader {
 public:
  // The file's content, at most `limit` bytes; "" when it cannot be read. Relative paths count from `folder` (a file
  // descriptor or AT_FDCWD). Valid until the next call.
  [[nodiscard]] std::string_view read(int folder, const char* path, std::size_t limit = 1 << 20);

 private:
  std::vector<char> buffer_ = std::vector<char>(16 * 1024);
};

}  // namespace vantora
