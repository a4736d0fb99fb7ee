#include "platform/x11/FontCursors.h"

#include <algorithm>
#include <array>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

struct Row {
  std::uint64_t outline;
  QLatin1StringView name;
};

// Computed from the font that is built into every X server; checked by a test.
constexpr std::array kRows{
    Row{0x930f5ae09e85311e, "bottom_left_corner"_L1},
    Row{0x6b122e171b6a0bf8, "bottom_right_corner"_L1},
    Row{0xd5e1542e88fbc4ae, "bottom_side"_L1},
    Row{0x19fff8439f6dc179, "bottom_tee"_L1},
    Row{0x8af7f8ed2681432d, "circle"_L1},
    Row{0x19fbbc44a638e14e, "cross"_L1},
    Row{0x3fe1bbc294c1d0d3, "cross_reverse"_L1},
    Row{0xfeeeefe567c38d06, "crosshair"_L1},
    Row{0x0c2f7863615a9239, "diamond_cross"_L1},
    Row{0xade32876fad75509, "double_arrow"_L1},
    Row{0xfb6c97b933ffaca4, "fleur"_L1},
    Row{0x711d7b168ba38a20, "hand1"_L1},
    Row{0xf1e9bf71b5ece3e6, "hand2"_L1},
    Row{0x17d9cd19da4b28e4, "left_side"_L1},
    Row{0x1c71c78af46eb221, "left_tee"_L1},
    Row{0x54af310b6d4a9f55, "ll_angle"_L1},
    Row{0x01013dd917331b55, "lr_angle"_L1},
    Row{0xf84e952954fcb844, "right_side"_L1},
    Row{0x05f4e9856f676c21, "right_tee"_L1},
    Row{0xca8e7470124b34bc, "sb_down_arrow"_L1},
    Row{0xd04d2755e9c4804a, "sb_h_double_arrow"_L1},
    Row{0x12ae9fafe2aa601a, "sb_left_arrow"_L1},
    Row{0x687d43bfed4f3b5a, "sb_right_arrow"_L1},
    Row{0xb71574d67ceb713c, "sb_up_arrow"_L1},
    Row{0x83006de70b6d1e5e, "sb_v_double_arrow"_L1},
    Row{0xd6f9b8999c250d96, "tcross"_L1},
    Row{0x8edce280f695c65e, "top_left_corner"_L1},
    Row{0xae20f8837dbd7ab8, "top_right_corner"_L1},
    Row{0x42618d0dd5f0c3de, "top_side"_L1},
    Row{0x97b9b34008862179, "top_tee"_L1},
    Row{0xec9b60e028f54f55, "ul_angle"_L1},
    Row{0x4a94409f2c20cb55, "ur_angle"_L1},
    Row{0x95724be8151cb1c2, "xterm"_L1},
};

// FNV-1a over the size and the pixels of the smallest rectangle that holds everything opaque.
class Outline {
 public:
  void add(std::uint8_t byte) { value_ = (value_ ^ byte) * 1099511628211ULL; }
  std::uint64_t value() const { return value_; }

 private:
  std::uint64_t value_ = 14695981039346656037ULL;
};

}  // namespace

QString fontCursorName(int width, int height, std::span<const std::uint32_t> pixels) {
  if (width <= 0 || height <= 0 || width > 64 || height > 64) return {};  // The font's images have at most 32 pixels.
  if (pixels.size() < static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) return {};
  const auto opaque = [&](int x, int y) {
    return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)] >> 24 !=
           0;
  };
  int left = width;
  int right = -1;
  int top = height;
  int bottom = -1;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      if (!opaque(x, y)) continue;
      left = std::min(left, x);
      right = std::max(right, x);
      top = std::min(top, y);
      bottom = std::max(bottom, y);
    }
  }
  Outline outline;
  outline.add(static_cast<std::uint8_t>(right - left + 1));
  outline.add(static_cast<std::uint8_t>(bottom - top + 1));
  for (int y = top; y <= bottom; ++y) {
    for (int x = left; x <= right; ++x) outline.add(opaque(x, y) ? 1 : 0);
  }
  const auto* const row =
      std::find_if(kRows.begin(), kRows.end(), [&](const Row& each) { return each.outline == outline.value(); });
  return row == kRows.end() ? QString() : QString(row->name);
}

}  // namespace vantora
