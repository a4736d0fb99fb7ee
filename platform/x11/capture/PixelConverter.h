// From the pixels of any X server to BGRA.
#pragma once

#include <array>
#include <cstdint>

namespace vantora::x11 {

enum class ByteOrder { leastSignificantFirst, mostSignificantFirst };

// How a server stores the pixels of an image (ZPixmap).
struct PixelLayout {
  int bitsPerPixel = 32;
  // Rows end at a multiple of this many bits.
  int rowPadding = 32;
  ByteOrder byteOrder = ByteOrder::leastSignificantFirst;
  // The bits of each colour in the value of a pixel; 0 where a palette decides.
  std::uint32_t red = 0xff0000;
  std::uint32_t green = 0xff00;
  std::uint32_t blue = 0xff;
  bool operator==(const PixelLayout&) const = default;

  // Whether its pixels name colours, in whole bytes, so that they can be converted.
  bool isConvertible() const;
  // Whether they are BGRX already.
  bool isBgrx() const;
  // Bytes from one row to the next. `width` in pixels, 0 to 32767.
  int stride(int width) const;
};

// Converts rows of one layout, which must be convertible. Colours of fewer than 8 bits are scaled to 0...255; of more,
// the highest 8 are taken. The same on every host, whatever its own byte order. Any thread.
class PixelConverter {
 public:
  explicit PixelConverter(const PixelLayout& layout);

  // Reads `width` pixels of the layout from `from`, and writes 4 bytes for each to `to`, alpha being 255. They must not
  // overlap. Bytes of padding are not touched.
  void convertRow(const std::uint8_t* from, int width, std::uint8_t* to) const;

 private:
  struct Channel {
    explicit Channel(std::uint32_t mask);
    std::uint8_t of(std::uint32_t pixel) const { return values[(pixel & bits) >> shift & 0xff]; }

    const std::uint32_t bits;
    const int shift;
    std::array<std::uint8_t, 256> values{};
  };
  template <int Size, ByteOrder Order>
  void convert(const std::uint8_t* from, int width, std::uint8_t* to) const;
  template <int Size>
  void convert(const std::uint8_t* from, int width, std::uint8_t* to) const;

  const int bytesPerPixel_;
  const ByteOrder byteOrder_;
  const Channel red_;
  const Channel green_;
  const Channel blue_;
};

}  // namespace vantora::x11
