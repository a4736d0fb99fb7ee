#include "platform/portal/pipewire/CursorReader.h"

#include <spa/buffer/meta.h>
#include <spa/param/video/raw.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/portal/pipewire/StreamBuffer.h"
#include "platform/portal/pipewire/StreamParams.h"

namespace vantora {
namespace {

// An image larger than this is not one of a cursor.
constexpr std::uint32_t kMaxSourceLength = 1024;

struct ByteOrder {
  int red, green, blue, alpha;
};

std::optional<ByteOrder> byteOrderOf(std::uint32_t format) {
  switch (format) {
    case SPA_VIDEO_FORMAT_RGBA:
      return ByteOrder{0, 1, 2, 3};
    case SPA_VIDEO_FORMAT_BGRA:
      return ByteOrder{2, 1, 0, 3};
    case SPA_VIDEO_FORMAT_ARGB:
      return ByteOrder{1, 2, 3, 0};
    case SPA_VIDEO_FORMAT_ABGR:
      return ByteOrder{3, 2, 1, 0};
    default:
      return std::nullopt;
  }
}

// Compositors send premultiplied colours, which are never above alpha.
std::uint32_t pixelOf(const std::uint8_t* bytes, const ByteOrder& order) {
  const std::uint32_t alpha = bytes[order.alpha];
  const auto colour = [&](int index) { return std::min<std::uint32_t>(bytes[index], alpha); };
  return alpha << 24 | colour(order.red) << 16 | colour(order.green) << 8 | colour(order.blue);
}

// nullopt: no new image, or not a valid one.
std::optional<CursorBitmap> readBitmap(const spa_meta& meta, const spa_meta_cursor& cursor) {
  if (cursor.bitmap_offset < sizeof(spa_meta_cursor) || cursor.bitmap_offset > meta.size ||
      meta.size - cursor.bitmap_offset < sizeof(spa_meta_bitmap)) {
    return std::nullopt;
  }
  const std::uint8_t* const start = static_cast<const std::uint8_t*>(meta.data) + cursor.bitmap_offset;
  const std::int64_t available = meta.size - cursor.bitmap_offset;
  spa_meta_bitmap bitmap;
  std::memcpy(&bitmap, start, sizeof bitmap);
  // mutter sends zeros in all fields for an invisible image.
  if (bitmap.size.width == 0 || bitmap.size.height == 0) return CursorBitmap{};
  if (!spa_meta_bitmap_is_valid(&bitmap)) return std::nullopt;
  if (bitmap.offset == 0) return CursorBitmap{};
  const auto order = byteOrderOf(bitmap.format);
  if (!order || bitmap.size.width > kMaxSourceLength || bitmap.size.height > kMaxSourceLength) return std::nullopt;
  const int width = static_cast<int>(bitmap.size.width);
  const int height = static_cast<int>(bitmap.size.height);
  const std::int64_t row = std::int64_t{width} * 4;
  const std::int64_t stride = bitmap.stride == 0 ? row : bitmap.stride;
  if (bitmap.offset < sizeof(spa_meta_bitmap) || stride < row ||
      std::int64_t{bitmap.offset} + stride * (height - 1) + row > available) {
    return std::nullopt;
  }
  // Every n-th pixel of an image that is too large.
  const int step = (std::max(width, height) + CursorReader::kMaxLength - 1) / CursorReader::kMaxLength;
  CursorBitmap image;
  image.size = {(width + step - 1) / step, (height + step - 1) / step};
  image.hotSpot = {std::clamp(cursor.hotspot.x, 0, width - 1) / step,
                   std::clamp(cursor.hotspot.y, 0, height - 1) / step};
  image.pixels.reserve(static_cast<std::size_t>(image.size.width()) * static_cast<std::size_t>(image.size.height()));
  for (int y = 0; y < height; y += step) {
    const std::uint8_t* const line = start + bitmap.offset + y * stride;
    for (int x = 0; x < width; x += step) image.pixels.push_back(pixelOf(line + std::ptrdiff_t{x} * 4, *order));
  }
  return image;
}

}  // namespace

std::optional<StreamCursor> CursorReader::read(const spa_buffer& buffer) {
  const spa_meta* const meta = findMeta(buffer, SPA_META_Cursor, sizeof(spa_meta_cursor));
  if (meta == nullptr) return std::nullopt;
  spa_meta_cursor cursor;
  std::memcpy(&cursor, meta->data, sizeof cursor);
  StreamCursor report{.node = last_.node, .visible = spa_meta_cursor_is_valid(&cursor), .position = last_.position};
  if (report.visible) {
    report.position = {std::clamp(cursor.position.x, -kMaxStreamLength, kMaxStreamLength),
                       std::clamp(cursor.position.y, -kMaxStreamLength, kMaxStreamLength)};
    report.bitmap = readBitmap(*meta, cursor);
    if (report.bitmap == last_.bitmap) report.bitmap.reset();
  }
  const bool same = known_ && report.visible == last_.visible && report.position == last_.position && !report.bitmap;
  if (same) return std::nullopt;
  known_ = true;
  last_.visible = report.visible;
  last_.position = report.position;
  if (report.bitmap) last_.bitmap = report.bitmap;
  return report;
}

}  // namespace vantora
