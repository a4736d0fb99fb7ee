#include "platform/x11/capture/PixelConverter.h"

#include <algorithm>
#include <bit>

namespace vantora::x11 {
namespace {

constexpr int kBitsOfValue = 8;

// From the lowest bit to the highest.
int widthOf(std::uint32_t mask) { return std::bit_width(mask) - std::countr_zero(mask); }

template <int Size, ByteOrder Order>
std::uint32_t pixelAt(const std::uint8_t* bytes) {
  std::uint32_t pixel = 0;
  for (int i = 0; i < Size; ++i) {
    const int place = Order == ByteOrder::leastSignificantFirst ? i : Size - 1 - i;
    pixel |= std::uint32_t{bytes[i]} << 8 * place;
  }
  return pixel;
}

}  // namespace

bool PixelLayout::isConvertible() const {
  const bool wholeBytes = bitsPerPixel % 8 == 0 && bitsPerPixel >= 8 && bitsPerPixel <= 32;
  const bool wholeRows = rowPadding == 8 || rowPadding == 16 || rowPadding == 32;
  return wholeBytes && wholeRows && red != 0 && green != 0 && blue != 0;
}

bool PixelLayout::isBgrx() const {
  return bitsPerPixel == 32 && byteOrder == ByteOrder::leastSignificantFirst && red == 0xff0000 && green == 0xff00 &&
         blue == 0xff;
}

int PixelLayout::stride(int width) const {
  return (width * bitsPerPixel + rowPadding - 1) / rowPadding * rowPadding / 8;
}

PixelConverter::Channel::Channel(std::uint32_t mask)
    : bits(mask), shift(std::countr_zero(mask) + std::max(widthOf(mask) - kBitsOfValue, 0)) {
  const std::uint32_t max = (1U << std::min(widthOf(mask), kBitsOfValue)) - 1;
  for (std::uint32_t i = 0; i <= max; ++i) values[i] = static_cast<std::uint8_t>((i * 255 + max / 2) / max);
}

PixelConverter::PixelConverter(const PixelLayout& layout)
    : bytesPerPixel_(layout.bitsPerPixel / 8),
      byteOrder_(layout.byteOrder),
      red_(layout.red),
      green_(layout.green),
      blue_(layout.blue) {}

void PixelConverter::convertRow(const std::uint8_t* from, int width, std::uint8_t* to) const {
  switch (bytesPerPixel_) {
    case 1:
      return convert<1>(from, width, to);
    case 2:
      return convert<2>(from, width, to);
    case 3:
      return convert<3>(from, width, to);
    default:
      return convert<4>(from, width, to);
  }
}

template <int Size>
void PixelConverter::convert(const std::uint8_t* from, int width, std::uint8_t* to) const {
  if (byteOrder_ == ByteOrder::leastSignificantFirst) {
    convert<Size, ByteOrder::leastSignificantFirst>(from, width, to);
  } else {
    convert<Size, ByteOrder::mostSignificantFirst>(from, width, to);
  }
}

template <int Size, ByteOrder Order>
void PixelConverter::convert(const std::uint8_t* from, int width, std::uint8_t* to) const {
  for (int x = 0; x < width; ++x, from += Size, to += 4) {
    const std::uint32_t pixel = pixelAt<Size, Order>(from);
    to[0] = blue_.of(pixel);
    to[1] = green_.of(pixel);
    to[2] = red_.of(pixel);
    to[3] = 0xff;
  }
}

}  // namespace vantora::x11
