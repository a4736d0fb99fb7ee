#include "bench/peers/TightDecoder.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace {

constexpr int kFill = 8;
constexpr int kExplicitFilter = 4;
constexpr std::size_t kSmallestPacked = 12;
constexpr std::size_t kBytesPerPixel = 3;
// Servers keep their rectangles far below this.
constexpr std::size_t kLongestPacked = 64U << 20U;

// The red of a pixel whose image holds differences from what its neighbours above and to the left suggest.
int redOfGradient(std::span<const std::uint8_t> data, int width, TightDecoder::Pixel pixel) {
  std::vector<int> above(static_cast<std::size_t>(width) + 1, 0);
  std::vector<int> line(above.size(), 0);
  for (int row = 0; row <= pixel.row; ++row) {
    for (int column = 0; column < width; ++column) {
      const auto at = static_cast<std::size_t>(column);
      const int guess = std::clamp(line[at] + above[at + 1] - above[at], 0, 255);
      const auto index = (static_cast<std::size_t>(row) * static_cast<std::size_t>(width) + at) * kBytesPerPixel;
      line[at + 1] = (guess + data[index]) & 255;
    }
    std::swap(above, line);
  }
  return above[static_cast<std::size_t>(pixel.column) + 1];
}

}  // namespace

TightDecoder::TightDecoder(Read read) : read_(std::move(read)) {}

TightDecoder::~TightDecoder() {
  for (std::size_t index = 0; index < streams_.size(); ++index) {
    if (open_.at(index)) inflateEnd(&streams_.at(index));
  }
}

std::uint8_t TightDecoder::byte() {
  std::uint8_t value = 0;
  read_({&value, 1});
  return value;
}

std::size_t TightDecoder::compactLength() {
  std::size_t length = 0;
  for (const unsigned shift : {0U, 7U}) {
    const std::uint8_t part = byte();
    length |= static_cast<std::size_t>(part & 0x7F) << shift;
    if ((part & 0x80) == 0) return length;
  }
  return length | static_cast<std::size_t>(byte()) << 14U;
}

std::span<const std::uint8_t> TightDecoder::data(std::size_t size, int stream) {
  plain_.resize(size);
  if (size < kSmallestPacked) {
    read_(plain_);
    return plain_;
  }
  const std::size_t packedSize = compactLength();
  if (packedSize > kLongestPacked) throw std::runtime_error("a rectangle is too long");
  packed_.resize(packedSize);
  read_(packed_);
  const auto index = static_cast<std::size_t>(stream);
  z_stream& inflater = streams_.at(index);
  if (!std::exchange(open_.at(index), true)) {
    inflater = {};
    if (inflateInit(&inflater) != Z_OK) throw std::runtime_error("zlib does not start");
  }
  inflater.next_in = packed_.data();
  inflater.avail_in = static_cast<uInt>(packed_.size());
  inflater.next_out = plain_.data();
  inflater.avail_out = static_cast<uInt>(plain_.size());
  const int result = inflate(&inflater, Z_SYNC_FLUSH);
  if ((result != Z_OK && result != Z_STREAM_END) || inflater.avail_out != 0) {
    throw std::runtime_error("a rectangle cannot be unpacked");
  }
  return plain_;
}

std::optional<int> TightDecoder::decode(int width, int height, std::optional<Pixel> wanted) {
  const unsigned control = byte();
  for (std::size_t index = 0; index < streams_.size(); ++index) {
    if ((control & (1U << index)) != 0 && std::exchange(open_.at(index), false)) inflateEnd(&streams_.at(index));
  }
  const int kind = static_cast<int>(control >> 4U);
  if (kind == kFill) {
    std::array<std::uint8_t, kBytesPerPixel> colour{};
    read_(colour);
    return wanted ? std::optional(colour[0]) : std::nullopt;
  }
  if (kind > kFill) throw std::runtime_error("a rectangle has a kind that was not asked for");
  const int stream = kind & 3;
  const auto filter = (kind & kExplicitFilter) != 0 ? static_cast<Filter>(byte()) : Filter::copy;
  const auto pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  const auto offset = [&] {
    return static_cast<std::size_t>(wanted->row) * static_cast<std::size_t>(width) +
           static_cast<std::size_t>(wanted->column);
  };
  if (filter == Filter::palette) {
    std::vector<std::uint8_t> palette((byte() + std::size_t{1}) * kBytesPerPixel);
    read_(palette);
    const bool twoColours = palette.size() == 2 * kBytesPerPixel;
    const auto rowBytes = static_cast<std::size_t>(width + 7) / 8;
    const auto indices = data(twoColours ? rowBytes * static_cast<std::size_t>(height) : pixels, stream);
    if (!wanted) return {};
    const auto column = static_cast<unsigned>(wanted->column);
    const auto index =
        twoColours ? indices[static_cast<std::size_t>(wanted->row) * rowBytes + column / 8] >> (7U - column % 8) & 1U
                   : indices[offset()];
    if (index * kBytesPerPixel >= palette.size()) throw std::runtime_error("a colour is not in its palette");
    return palette[index * kBytesPerPixel];
  }
  const auto colours = data(pixels * kBytesPerPixel, stream);
  if (!wanted) return {};
  return filter == Filter::gradient ? redOfGradient(colours, width, *wanted) : colours[offset() * kBytesPerPixel];
}
