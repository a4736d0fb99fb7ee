// Reading what a compositor has put into a buffer. The buffer, its sizes included, is memory that the compositor can
// write at any time: each value is copied once, then checked.
#pragma once

#include <spa/buffer/buffer.h>

#include <QRect>
#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/portal/pipewire/StreamParams.h"

namespace vantora {

// Pixels in CPU memory, 4 bytes each; rows from the top, `stride` bytes apart.
struct FrameView {
  const std::uint8_t* data = nullptr;
  std::ptrdiff_t stride = 0;
  QSize size;
  PixelFormat format = PixelFormat::bgrx;
};

// Where a frame differs from the one before; nullopt: anywhere.
using FrameDamage = std::optional<std::vector<QRect>>;

struct BufferFrame {
  FrameView view;
  QPoint origin;  // The view's place in the stream: not empty when the compositor has cropped the frame.
  FrameDamage damage;
  std::chrono::nanoseconds timestamp{0};
  // As of CapturedFrame.
  bool mirrored = false;
  int rotationDegrees = 0;
};

// False for a buffer that carries only a cursor.
bool carriesPixels(const spa_buffer& buffer);

// The number of the buffer, if the compositor counts them.
std::optional<std::uint64_t> sequenceOf(const spa_buffer& buffer);

// nullopt for a buffer without pixels, or whose values do not fit its memory.
std::optional<BufferFrame> readFrame(const spa_buffer& buffer, const StreamFormat& format);

// The data of the metadata of type `type` and at least `minSize` bytes; nullptr without it.
const spa_meta* findMeta(const spa_buffer& buffer, std::uint32_t type, std::size_t minSize);

// Adds the damage of a frame that comes after one with `damage`. The result is bounded.
void addDamage(FrameDamage& damage, const FrameDamage& later);

}  // namespace vantora
