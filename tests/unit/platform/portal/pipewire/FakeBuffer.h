// A buffer in the memory of the test.
#pragma once

#include <spa/buffer/buffer.h>
#include <spa/buffer/meta.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace vantora {

class FakeBuffer {
 public:
  // With a chunk that covers all of `bytes`.
  explicit FakeBuffer(std::size_t bytes = 0) : pixels_(bytes) {
    chunk.size = static_cast<std::uint32_t>(bytes);
    data.type = SPA_DATA_MemPtr;
    data.maxsize = static_cast<std::uint32_t>(bytes);
    data.data = pixels_.data();
    data.chunk = &chunk;
  }
  FakeBuffer(const FakeBuffer&) = delete;
  FakeBuffer& operator=(const FakeBuffer&) = delete;

  // Metadata of exactly `size` bytes, zeroed: a read beyond them is found by the address sanitizer.
  template <typename Meta>
  Meta* add(std::uint32_t type, std::size_t size = sizeof(Meta)) {
    // The allocator aligns it for every type.
    std::vector<std::uint8_t>& memory = memory_.emplace_back(size);
    metas_.push_back({type, static_cast<std::uint32_t>(size), memory.data()});
    return reinterpret_cast<Meta*>(memory.data());
  }
  std::uint8_t* pixels() { return pixels_.data(); }
  const spa_buffer& get() {
    buffer_.n_metas = static_cast<std::uint32_t>(metas_.size());
    buffer_.metas = metas_.data();
    buffer_.n_datas = 1;
    buffer_.datas = &data;
    return buffer_;
  }

  spa_chunk chunk{};
  spa_data data{};

 private:
  std::vector<std::uint8_t> pixels_;
  std::deque<std::vector<std::uint8_t>> memory_;
  std::vector<spa_meta> metas_;
  spa_buffer buffer_{};
};

}  // namespace vantora
