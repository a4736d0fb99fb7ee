#pragma once

#include <zlib.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

// Decodes rectangles of the encoding "Tight" without JPEG, of 32-bit pixels with 8 bits for each colour, as far as one
// pixel of them needs it. All methods throw std::runtime_error for data that is not of this form.
class TightDecoder {
 public:
  // Fills the bytes with the next ones of the connection.
  using Read = std::function<void(std::span<std::uint8_t>)>;

  explicit TightDecoder(Read read);
  ~TightDecoder();
  TightDecoder(const TightDecoder&) = delete;
  TightDecoder& operator=(const TightDecoder&) = delete;

  struct Pixel {
    int column;
    int row;
  };

  // Reads one rectangle; returns the red (0 to 255) of a pixel that lies in it, if one is wanted.
  std::optional<int> decode(int width, int height, std::optional<Pixel> wanted);

 private:
  enum class Filter : std::uint8_t { copy = 0, palette = 1, gradient = 2 };

  std::uint8_t byte();
  std::size_t compactLength();
  std::span<const std::uint8_t> data(std::size_t size, int stream);

  Read read_;
  std::array<z_stream, 4> streams_{};
  std::array<bool, 4> open_{};
  std::vector<std::uint8_t> packed_;
  std::vector<std::uint8_t> plain_;
};
