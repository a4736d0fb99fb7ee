#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

#include "bench/peers/TightDecoder.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kWithFilter = 0x40;

// A connection on which the rectangles of a test arrive.
class Wire {
 public:
  TightDecoder decoder{[this](std::span<std::uint8_t> to) { take(to); }};

  void add(const Bytes& bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }

  // Adds what the stream makes of `plain`, with its length in front.
  void addPacked(const Bytes& plain) {
    Bytes packed(plain.size() + 100);
    stream_.next_in = const_cast<Bytef*>(plain.data());
    stream_.avail_in = static_cast<uInt>(plain.size());
    stream_.next_out = packed.data();
    stream_.avail_out = static_cast<uInt>(packed.size());
    ASSERT_EQ(deflate(&stream_, Z_SYNC_FLUSH), Z_OK);
    packed.resize(packed.size() - stream_.avail_out);
    ASSERT_LT(packed.size(), 1U << 14U);
    if (packed.size() < 128) {
      add({static_cast<std::uint8_t>(packed.size())});
    } else {
      add({static_cast<std::uint8_t>(0x80U | (packed.size() & 0x7FU)), static_cast<std::uint8_t>(packed.size() >> 7U)});
    }
    add(packed);
  }

  bool isEmpty() const { return next_ == bytes_.size(); }

  Wire() { deflateInit(&stream_, Z_BEST_SPEED); }
  ~Wire() { deflateEnd(&stream_); }
  Wire(const Wire&) = delete;
  Wire& operator=(const Wire&) = delete;

 private:
  void take(std::span<std::uint8_t> to) {
    if (bytes_.size() - next_ < to.size()) throw std::runtime_error("nothing more arrives");
    std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(next_), to.size(), to.begin());
    next_ += to.size();
  }

  Bytes bytes_;
  std::size_t next_ = 0;
  z_stream stream_{};
};

// An image whose red is `5 * row + column`.
Bytes ramp(int width, int height) {
  Bytes image;
  for (int row = 0; row < height; ++row) {
    for (int column = 0; column < width; ++column) {
      image.insert(image.end(), {static_cast<std::uint8_t>(5 * row + column), 1, 2});
    }
  }
  return image;
}

TEST(TightDecoder, readsTheColourOfAFilledRectangle) {
  Wire wire;
  wire.add({0x80, 200, 1, 2});
  EXPECT_EQ(wire.decoder.decode(100, 50, TightDecoder::Pixel{99, 49}), 200);
  EXPECT_TRUE(wire.isEmpty());
}

TEST(TightDecoder, readsAPixelOfPackedColoursInOneStreamAfterAnother) {
  Wire wire;
  for (int round = 0; round < 3; ++round) {
    wire.add({0x00});
    wire.addPacked(ramp(20, 20));
  }
  EXPECT_EQ(wire.decoder.decode(20, 20, TightDecoder::Pixel{7, 3}), 22);
  // A rectangle without the pixel keeps the stream going.
  EXPECT_EQ(wire.decoder.decode(20, 20, {}), std::nullopt);
  EXPECT_EQ(wire.decoder.decode(20, 20, TightDecoder::Pixel{0, 19}), 95);
  EXPECT_TRUE(wire.isEmpty());
}

TEST(TightDecoder, readsFewColoursUnpacked) {
  Wire wire;
  wire.add({0x00, 10, 0, 0, 20, 0, 0});
  EXPECT_EQ(wire.decoder.decode(2, 1, TightDecoder::Pixel{1, 0}), 20);
}

TEST(TightDecoder, readsTwoColoursOfABitEach) {
  Wire wire;
  wire.add({kWithFilter, 1, 1, 10, 0, 0, 240, 0, 0});
  // Two rows of ten pixels: the last of the second one is the second colour.
  wire.add({0x00, 0x00, 0x00, 0x40});
  EXPECT_EQ(wire.decoder.decode(10, 2, TightDecoder::Pixel{9, 1}), 240);
  EXPECT_TRUE(wire.isEmpty());
}

TEST(TightDecoder, readsColoursOfAPalette) {
  Wire wire;
  wire.add({kWithFilter, 1, 2, 10, 0, 0, 20, 0, 0, 30, 0, 0});
  wire.add({0, 1, 2, 0});
  EXPECT_EQ(wire.decoder.decode(2, 2, TightDecoder::Pixel{0, 1}), 30);
}

TEST(TightDecoder, undoesTheGradientFilter) {
  // The differences of a ramp from what left, above and both suggest.
  Wire wire;
  wire.add({kWithFilter, 2});
  Bytes differences(std::size_t{4} * 4 * 3, 0);
  for (std::size_t column = 1; column < 4; ++column) differences[column * 3] = 1;
  for (std::size_t row = 1; row < 4; ++row) differences[row * 4 * 3] = 5;
  wire.addPacked(differences);
  EXPECT_EQ(wire.decoder.decode(4, 4, TightDecoder::Pixel{3, 2}), 13);
}

TEST(TightDecoder, refusesWhatItDidNotAskFor) {
  Wire wire;
  wire.add({0x90, 1, 0});
  EXPECT_THROW((void)wire.decoder.decode(4, 4, {}), std::runtime_error);
}

TEST(TightDecoder, refusesAColourThatIsNotInThePalette) {
  Wire wire;
  wire.add({kWithFilter, 1, 2, 10, 0, 0, 20, 0, 0, 30, 0, 0, 9});
  EXPECT_THROW((void)wire.decoder.decode(1, 1, TightDecoder::Pixel{0, 0}), std::runtime_error);
}

TEST(TightDecoder, refusesWhatCannotBeUnpacked) {
  Wire wire;
  wire.add({0x00, 3, 0xFF, 0xFF, 0xFF});
  EXPECT_THROW((void)wire.decoder.decode(10, 10, {}), std::runtime_error);
}

}  // namespace
