#include "platform/portal/pipewire/StreamBuffer.h"

#include <spa/buffer/meta.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <numeric>

namespace vantora {
namespace {

constexpr int kPixel = 4;
// Beyond this number of rectangles their bounding rectangle stands for them.
constexpr std::size_t kMaxRects = 128;

template <typename Value>
std::optional<Value> copyMeta(const spa_buffer& buffer, std::uint32_t type) {
  const spa_meta* const meta = findMeta(buffer, type, sizeof(Value));
  if (meta == nullptr) return std::nullopt;
  Value value;
  std::memcpy(&value, meta->data, sizeof value);
  return value;
}

// `region` inside `frame`; empty for one without an area.
QRect clipped(const spa_region& region, const QRect& frame) {
  const auto along = [](std::int64_t position, std::uint32_t length, int end) {
    const auto first = std::clamp<std::int64_t>(position, 0, end);
    return std::pair(static_cast<int>(first),
                     static_cast<int>(std::clamp<std::int64_t>(position + length, first, end) - first));
  };
  const auto [x, width] = along(region.position.x, region.size.width, frame.width());
  const auto [y, height] = along(region.position.y, region.size.height, frame.height());
  return {x, y, width, height};
}

// Memory that ends before the map does cannot be read without a signal.
bool isBacked(const spa_data& data) {
  if (data.type != SPA_DATA_MemFd) return true;
  struct stat file {};
  return ::fstat(static_cast<int>(data.fd), &file) == 0 &&
         file.st_size >= static_cast<std::int64_t>(data.mapoffset) + data.maxsize;
}

std::optional<FrameView> readPixels(const spa_data& data, const StreamFormat& format) {
  if (data.data == nullptr || data.maxsize == 0) return std::nullopt;
  if (data.type != SPA_DATA_MemFd && data.type != SPA_DATA_MemPtr) return std::nullopt;
  spa_chunk chunk;
  std::memcpy(&chunk, data.chunk, sizeof chunk);
  const std::int64_t row = std::int64_t{format.size.width()} * kPixel;
  const std::int64_t stride = chunk.stride == 0 ? row : chunk.stride;
  const std::int64_t offset = chunk.offset % data.maxsize;
  if (stride < row || offset + stride * (format.size.height() - 1) + row > std::int64_t{data.maxsize}) {
    return std::nullopt;
  }
  if (!isBacked(data)) return std::nullopt;
  return FrameView{static_cast<const std::uint8_t*>(data.data) + offset, static_cast<std::ptrdiff_t>(stride),
                   format.size, format.pixels};
}

FrameDamage readDamage(const spa_buffer& buffer, const QRect& crop) {
  const spa_meta* const meta = findMeta(buffer, SPA_META_VideoDamage, sizeof(spa_meta_region));
  if (meta == nullptr) return std::nullopt;
  std::vector<QRect> damage;
  const std::size_t count = std::min<std::size_t>(meta->size / sizeof(spa_meta_region), kMaxRects);
  for (std::size_t i = 0; i < count; ++i) {
    spa_meta_region entry;
    std::memcpy(&entry, static_cast<const spa_meta_region*>(meta->data) + i, sizeof entry);
    if (!spa_meta_region_is_valid(&entry)) break;
    entry.region.position.x = static_cast<std::int32_t>(
        std::clamp<std::int64_t>(std::int64_t{entry.region.position.x} - crop.x(), INT32_MIN, INT32_MAX));
    entry.region.position.y = static_cast<std::int32_t>(
        std::clamp<std::int64_t>(std::int64_t{entry.region.position.y} - crop.y(), INT32_MIN, INT32_MAX));
    damage.push_back(clipped(entry.region, QRect(QPoint(0, 0), crop.size())));
  }
  // A frame with pixels and without damage is one whose damage is not known.
  if (damage.empty()) return std::nullopt;
  return damage;
}

// The transformation was applied to the frame; what shows it upright is its inverse.
void readTransform(const spa_buffer& buffer, BufferFrame& frame) {
  const auto meta = copyMeta<spa_meta_videotransform>(buffer, SPA_META_VideoTransform);
  if (!meta || meta->transform > SPA_META_TRANSFORMATION_Flipped270) return;
  const int quarters = static_cast<int>(meta->transform % 4);
  frame.mirrored = meta->transform >= SPA_META_TRANSFORMATION_Flipped;
  // Turned back before it is mirrored back: the other way round, it turns in the other direction.
  frame.rotationDegrees = (frame.mirrored ? (4 - quarters) % 4 : quarters) * 90;
}

}  // namespace

const spa_meta* findMeta(const spa_buffer& buffer, std::uint32_t type, std::size_t minSize) {
  for (std::uint32_t i = 0; i < buffer.n_metas; ++i) {
    const spa_meta& meta = buffer.metas[i];
    if (meta.type == type) return meta.data != nullptr && meta.size >= minSize ? &meta : nullptr;
  }
  return nullptr;
}

bool carriesPixels(const spa_buffer& buffer) {
  if (buffer.n_datas == 0 || buffer.datas[0].chunk == nullptr) return false;
  spa_chunk chunk;
  std::memcpy(&chunk, buffer.datas[0].chunk, sizeof chunk);
  if (chunk.size == 0 || (static_cast<std::uint32_t>(chunk.flags) & SPA_CHUNK_FLAG_CORRUPTED) != 0) return false;
  const auto header = copyMeta<spa_meta_header>(buffer, SPA_META_Header);
  return !header || (header->flags & SPA_META_HEADER_FLAG_CORRUPTED) == 0;
}

std::optional<std::uint64_t> sequenceOf(const spa_buffer& buffer) {
  const auto header = copyMeta<spa_meta_header>(buffer, SPA_META_Header);
  return header ? std::optional(header->seq) : std::nullopt;
}

std::optional<BufferFrame> readFrame(const spa_buffer& buffer, const StreamFormat& format) {
  if (!carriesPixels(buffer)) return std::nullopt;
  const auto pixels = readPixels(buffer.datas[0], format);
  if (!pixels) return std::nullopt;
  BufferFrame frame;
  frame.view = *pixels;
  QRect crop(QPoint(0, 0), format.size);
  if (const auto meta = copyMeta<spa_meta_region>(buffer, SPA_META_VideoCrop);
      meta && spa_meta_region_is_valid(&*meta)) {
    crop = clipped(meta->region, crop);
    if (crop.isEmpty()) return std::nullopt;
  }
  frame.origin = crop.topLeft();
  frame.view.data += crop.y() * frame.view.stride + std::ptrdiff_t{crop.x()} * kPixel;
  frame.view.size = crop.size();
  frame.damage = readDamage(buffer, crop);
  const auto header = copyMeta<spa_meta_header>(buffer, SPA_META_Header);
  if (header && header->pts > 0) frame.timestamp = std::chrono::nanoseconds(header->pts);
  readTransform(buffer, frame);
  return frame;
}

void addDamage(FrameDamage& damage, const FrameDamage& later) {
  if (!damage) return;
  if (!later) {
    damage.reset();
    return;
  }
  damage->insert(damage->end(), later->begin(), later->end());
  if (damage->size() > kMaxRects) damage = {std::accumulate(damage->begin(), damage->end(), QRect(), std::bit_or<>())};
}

}  // namespace vantora
