// The names of cursors, found by their images. Pure.
#pragma once

#include <QString>
#include <array>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "platform/SystemCursor.h"

namespace vantora {

// Filled once, then only read. Keeps a hash of every image and a reduced copy of every drawing, about a kilobyte each.
// Value type, not bound to a thread.
class CursorNames {
 public:
  // Maximum width and height of an image, in pixels; larger ones have no name.
  static constexpr int kMaxSide = 256;

  // The first name of an image stays its name. `frames`: one image, or all of an animation.
  void add(const QString& name, const std::vector<CursorBitmap>& frames);
  // The name of the same image, else that of the most similar drawing: compositors scale images, with rounding and
  // filters of their own. Empty for an image that resembles none.
  QString find(const CursorBitmap& image) const;
  // Bytes on the heap, roughly.
  std::size_t memory() const;

 private:
  static constexpr int kCells = 16;
  // The image, scaled down to kCells by kCells pixels of four channels.
  struct Drawing {
    std::array<std::uint8_t, 4UL * kCells * kCells> cells;
    float width;  // Relative to the height.
    float hotX;   // Relative to the size of the image.
    float hotY;
    float pixel;  // The size of a pixel, in the units of the hot spot.
    std::uint32_t ink;
    std::uint32_t name;  // Index in names_.
  };
  QString findAsItIs(const CursorBitmap& image) const;
  static Drawing drawingOf(const CursorBitmap& image);
  static float difference(const Drawing& one, const Drawing& other);
  static bool usable(const CursorBitmap& image);

  std::vector<QString> names_;
  std::unordered_map<std::uint64_t, std::uint32_t> exact_;  // By the hash of the image: index in names_.
  std::vector<Drawing> drawings_;
};

}  // namespace vantora
