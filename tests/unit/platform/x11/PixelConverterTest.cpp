#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "platform/x11/capture/PixelConverter.h"

namespace vantora::x11 {
namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr ByteOrder kLittle = ByteOrder::leastSignificantFirst;
constexpr ByteOrder kBig = ByteOrder::mostSignificantFirst;

// An untouched byte after the end.
constexpr std::uint8_t kUntouched = 0x5a;

Bytes row(const PixelLayout& layout, const std::vector<std::uint32_t>& pixels) {
  Bytes bytes;
  const int size = layout.bitsPerPixel / 8;
  for (const std::uint32_t pixel : pixels) {
    for (int i = 0; i < size; ++i) {
      const int place = layout.byteOrder == kLittle ? i : size - 1 - i;
      bytes.push_back(static_cast<std::uint8_t>(pixel >> 8 * place));
    }
  }
  return bytes;
}

// The colours as 0xAARRGGBB. The source is of exactly the row's length, so that the address sanitizer sees a read
// beyond it.
std::vector<std::uint32_t> converted(const PixelLayout& layout, const std::vector<std::uint32_t>& pixels) {
  const Bytes from = row(layout, pixels);
  Bytes to(pixels.size() * 4 + 1, kUntouched);
  PixelConverter(layout).convertRow(from.data(), static_cast<int>(pixels.size()), to.data());
  EXPECT_EQ(to.back(), kUntouched);
  std::vector<std::uint32_t> colours;
  for (std::size_t i = 0; i + 3 < to.size(); i += 4) {
    colours.push_back(to[i] | std::uint32_t{to[i + 1]} << 8 | std::uint32_t{to[i + 2]} << 16 |
                      std::uint32_t{to[i + 3]} << 24);
  }
  return colours;
}

struct Masks {
  const char* name;
  int bitsPerPixel;
  std::uint32_t red;
  std::uint32_t green;
  std::uint32_t blue;
};

constexpr std::array kMasks = {
    Masks{"332", 8, 0xe0, 0x1c, 0x03},
    Masks{"233 BGR", 8, 0x07, 0x38, 0xc0},
    Masks{"444", 16, 0xf00, 0xf0, 0xf},
    Masks{"555", 16, 0x7c00, 0x3e0, 0x1f},
    Masks{"565", 16, 0xf800, 0x7e0, 0x1f},
    Masks{"565 BGR", 16, 0x1f, 0x7e0, 0xf800},
    Masks{"888", 24, 0xff0000, 0xff00, 0xff},
    Masks{"888 BGR", 24, 0xff, 0xff00, 0xff0000},
    Masks{"8888", 32, 0xff0000, 0xff00, 0xff},
    Masks{"8888 BGR", 32, 0xff, 0xff00, 0xff0000},
    Masks{"8888 RGBX", 32, 0xff000000, 0xff0000, 0xff00},
    Masks{"30", 32, 0x3ff00000, 0xffc00, 0x3ff},
    Masks{"30 BGR", 32, 0x3ff, 0xffc00, 0x3ff00000},
    Masks{"11 11 10", 32, 0xffe00000, 0x1ffc00, 0x3ff},
    Masks{"one bit each", 8, 0x4, 0x2, 0x1},
};

PixelLayout layoutOf(const Masks& masks, ByteOrder order) {
  return {masks.bitsPerPixel, 32, order, masks.red, masks.green, masks.blue};
}

TEST(PixelConverter, showsTheFullColoursOfAllMasksInBothByteOrders) {
  for (const Masks& masks : kMasks) {
    for (const ByteOrder order : {kLittle, kBig}) {
      const PixelLayout layout = layoutOf(masks, order);
      ASSERT_TRUE(layout.isConvertible()) << masks.name;
      // Bits outside of the masks mean nothing.
      const std::uint32_t others = ~(masks.red | masks.green | masks.blue);
      EXPECT_EQ(
          converted(layout, {0, masks.red, masks.green, masks.blue, masks.red | masks.green | masks.blue, others}),
          (std::vector<std::uint32_t>{0xff000000, 0xffff0000, 0xff00ff00, 0xff0000ff, 0xffffffff, 0xff000000}))
          << masks.name << (order == kBig ? " big endian" : "");
    }
  }
}

TEST(PixelConverter, keepsTheStepsOfEachColourEven) {
  for (const Masks& masks : kMasks) {
    for (const std::uint32_t mask : {masks.red, masks.green, masks.blue}) {
      const std::uint32_t lowest = mask & ~(mask - 1);
      const std::uint32_t max = mask / lowest;
      const int place = mask == masks.red ? 16 : mask == masks.green ? 8 : 0;
      std::vector<std::uint32_t> pixels;
      for (std::uint32_t value = 0; value <= max; ++value) pixels.push_back(value * lowest);
      const std::vector<std::uint32_t> colours = converted(layoutOf(masks, kLittle), pixels);
      for (std::uint32_t value = 0; value <= max; ++value) {
        EXPECT_NEAR(colours[value] >> place & 0xff, 255.0 * value / max, 1.0) << masks.name << " " << value;
      }
    }
  }
}

TEST(PixelConverter, convertsKnownColours) {
  const auto one = [](const Masks& masks, std::uint32_t pixel) {
    return converted(layoutOf(masks, kLittle), {pixel}).front();
  };
  EXPECT_EQ(one({"565", 16, 0xf800, 0x7e0, 0x1f}, 0x8410), 0xff848284);
  EXPECT_EQ(one({"555", 16, 0x7c00, 0x3e0, 0x1f}, 0x0401), 0xff080008);
  EXPECT_EQ(one({"888", 24, 0xff0000, 0xff00, 0xff}, 0x123456), 0xff123456);
  EXPECT_EQ(one({"8888 BGR", 32, 0xff, 0xff00, 0xff0000}, 0x123456), 0xff563412);
  EXPECT_EQ(one({"30", 32, 0x3ff00000, 0xffc00, 0x3ff}, 0x12u << 22 | 0x34u << 12 | 0x56u << 2), 0xff123456);
}

TEST(PixelConverter, readsTheBytesInTheOrderOfTheServer) {
  const Bytes bytes = {0xf8, 0x00, 0x00, 0x1f};
  std::array<std::uint8_t, 8> to{};
  PixelConverter({16, 32, kBig, 0xf800, 0x7e0, 0x1f}).convertRow(bytes.data(), 2, to.data());
  EXPECT_EQ(to, (std::array<std::uint8_t, 8>{0, 0, 0xff, 0xff, 0xff, 0, 0, 0xff}));
  const Bytes rgb = {0x12, 0x34, 0x56};
  PixelConverter({24, 32, kBig, 0xff0000, 0xff00, 0xff}).convertRow(rgb.data(), 1, to.data());
  EXPECT_EQ(to, (std::array<std::uint8_t, 8>{0x56, 0x34, 0x12, 0xff, 0xff, 0, 0, 0xff}));
}

TEST(PixelConverter, writesNothingForAnEmptyRow) { EXPECT_TRUE(converted(layoutOf(kMasks[4], kLittle), {}).empty()); }

TEST(PixelLayout, endsRowsAtTheServersPadding) {
  const auto stride = [](int bits, int padding, int width) {
    return PixelLayout{.bitsPerPixel = bits, .rowPadding = padding}.stride(width);
  };
  EXPECT_EQ(stride(32, 32, 641), 2564);
  EXPECT_EQ(stride(16, 32, 320), 640);
  EXPECT_EQ(stride(16, 32, 321), 644);
  EXPECT_EQ(stride(16, 16, 321), 642);
  EXPECT_EQ(stride(24, 32, 1), 4);
  EXPECT_EQ(stride(24, 32, 5), 16);
  EXPECT_EQ(stride(24, 8, 5), 15);
  EXPECT_EQ(stride(8, 32, 5), 8);
  EXPECT_EQ(stride(32, 32, 32767), 131068);
  EXPECT_EQ(stride(16, 32, 0), 0);
}

TEST(PixelLayout, needsNoConversionOnlyOfBgrx) {
  const PixelLayout ordinary;
  EXPECT_TRUE(ordinary.isBgrx());
  EXPECT_TRUE(ordinary.isConvertible());
  PixelLayout bigEndian = ordinary;
  bigEndian.byteOrder = kBig;
  EXPECT_FALSE(bigEndian.isBgrx());
  EXPECT_FALSE((PixelLayout{24, 32, kLittle, 0xff0000, 0xff00, 0xff}.isBgrx()));
  EXPECT_FALSE((PixelLayout{32, 32, kLittle, 0xff, 0xff00, 0xff0000}.isBgrx()));
  EXPECT_FALSE((PixelLayout{32, 32, kLittle, 0x3ff00000, 0xffc00, 0x3ff}.isBgrx()));
}

TEST(PixelLayout, isNotConvertibleWithoutMasksOrWholeBytes) {
  EXPECT_FALSE((PixelLayout{8, 32, kLittle, 0, 0, 0}.isConvertible()));
  EXPECT_FALSE((PixelLayout{16, 32, kLittle, 0xf800, 0, 0x1f}.isConvertible()));
  for (const int bits : {-8, 0, 1, 4, 12, 40, 255}) {
    EXPECT_FALSE((PixelLayout{bits, 32, kLittle, 0xf800, 0x7e0, 0x1f}.isConvertible())) << bits;
  }
  for (const int padding : {-32, 0, 1, 24, 64}) {
    EXPECT_FALSE((PixelLayout{16, padding, kLittle, 0xf800, 0x7e0, 0x1f}.isConvertible())) << padding;
  }
}

}  // namespace
}  // namespace vantora::x11
