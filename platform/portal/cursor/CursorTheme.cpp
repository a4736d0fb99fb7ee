#include "platform/portal/cursor/CursorTheme.h"

#include <X11/Xcursor/Xcursor.h>

#include <array>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr std::array kNames{
    // Arrows and what most programs show.
    "default"_L1,
    "text"_L1,
    "pointer"_L1,
    "grab"_L1,
    "grabbing"_L1,
    "crosshair"_L1,
    "not-allowed"_L1,
    // A double arrow is drawn for a single direction and for a splitter too.
    "ew-resize"_L1,
    "ns-resize"_L1,
    "nwse-resize"_L1,
    "nesw-resize"_L1,
    "n-resize"_L1,
    "s-resize"_L1,
    "w-resize"_L1,
    "e-resize"_L1,
    "nw-resize"_L1,
    "ne-resize"_L1,
    "se-resize"_L1,
    "sw-resize"_L1,
    "col-resize"_L1,
    "row-resize"_L1,
    "all-scroll"_L1,
    "move"_L1,
    "no-drop"_L1,
    "vertical-text"_L1,
    // These must not be taken for others that are drawn much like them.
    "wait"_L1,
    "progress"_L1,
    "help"_L1,
    "context-menu"_L1,
    "alias"_L1,
    "copy"_L1,
    "cell"_L1,
    "zoom-in"_L1,
    "zoom-out"_L1,
    // Names of X programs.
    "left_ptr"_L1,
    "right_ptr"_L1,
    "hand2"_L1,
    "hand1"_L1,
    "hand"_L1,
    "pointing_hand"_L1,
    "pointinghand"_L1,
    "pointing-hand"_L1,
    "e29285e634086352946a0e7090d73106"_L1,
    "9d800788f1b08800ae810202380a0822"_L1,
    "xterm"_L1,
    "ibeam"_L1,
    "openhand"_L1,
    "open-hand"_L1,
    "5aca4d189052212118709018842178c0"_L1,
    "closedhand"_L1,
    "closed-hand"_L1,
    "dnd-none"_L1,
    "208530c400c041818281048008011002"_L1,
    "fcf21c00b30f7e3f83fe0dfd12e71cff"_L1,
    "cross"_L1,
    "tcross"_L1,
    "cross_reverse"_L1,
    "diamond_cross"_L1,
    "plus"_L1,
    "dnd-no-drop"_L1,
    "forbidden"_L1,
    "crossed_circle"_L1,
    "circle"_L1,
    "03b6e0fcb3499374a867c041f52298f0"_L1,
    "sb_h_double_arrow"_L1,
    "h_double_arrow"_L1,
    "size_hor"_L1,
    "028006030e0e7ebffc7f7070c0600140"_L1,
    "sb_v_double_arrow"_L1,
    "v_double_arrow"_L1,
    "double_arrow"_L1,
    "size_ver"_L1,
    "00008160000006810000408080010102"_L1,
    "top_side"_L1,
    "bottom_side"_L1,
    "left_side"_L1,
    "right_side"_L1,
    "top_tee"_L1,
    "bottom_tee"_L1,
    "left_tee"_L1,
    "right_tee"_L1,
    "sb_up_arrow"_L1,
    "sb_down_arrow"_L1,
    "sb_left_arrow"_L1,
    "sb_right_arrow"_L1,
    "up_arrow"_L1,
    "down_arrow"_L1,
    "left_arrow"_L1,
    "right_arrow"_L1,
    "up-arrow"_L1,
    "down-arrow"_L1,
    "left-arrow"_L1,
    "right-arrow"_L1,
    "bd_double_arrow"_L1,
    "size_fdiag"_L1,
    "top_left_corner"_L1,
    "bottom_right_corner"_L1,
    "ul_angle"_L1,
    "lr_angle"_L1,
    "c7088f0f3e6c8088236ef8e1e3e70000"_L1,
    "fd_double_arrow"_L1,
    "size_bdiag"_L1,
    "top_right_corner"_L1,
    "bottom_left_corner"_L1,
    "ur_angle"_L1,
    "ll_angle"_L1,
    "fcf1c3c7cd4491d801f1e1c78f100000"_L1,
    "split_h"_L1,
    "14fef782d02440884392942c11205230"_L1,
    "split_v"_L1,
    "2870a09082c103050810ffdffffe0204"_L1,
    "fleur"_L1,
    "size_all"_L1,
    "dnd-move"_L1,
    "pointer-move"_L1,
    "pointer_move"_L1,
    "4498f0e0c1937ffe01fd06f973665830"_L1,
    "9081237383d90e509aa00f00170e968f"_L1,
};

constexpr char kFallbackTheme[] = "Adwaita";
constexpr int kDefaultSize = 24;
// Sizes that screens show, for each four of the nominal size: their scales are quarters.
constexpr std::array kQuarters{4, 5, 6, 7, 8, 12};

struct Destroy {
  void operator()(XcursorImages* images) const { XcursorImagesDestroy(images); }
};

std::vector<CursorBitmap> framesOf(const XcursorImages& images) {
  std::vector<CursorBitmap> frames;
  for (int i = 0; i < images.nimage; ++i) {
    const XcursorImage& image = *images.images[i];
    if (image.width > CursorNames::kMaxSide || image.height > CursorNames::kMaxSide) continue;
    const std::span pixels(image.pixels, static_cast<std::size_t>(image.width) * image.height);
    frames.push_back({{static_cast<int>(image.width), static_cast<int>(image.height)},
                      {static_cast<int>(image.xhot), static_cast<int>(image.yhot)},
                      {pixels.begin(), pixels.end()}});
  }
  return frames;
}

using Images = std::unique_ptr<XcursorImages, Destroy>;

void read(CursorNames& names, const char* theme, int size) {
  for (const QLatin1StringView name : kNames) {
    if (const Images images(XcursorLibraryLoadImages(name.data(), theme, size)); images) {
      names.add(QString(name), framesOf(*images));
    }
  }
}

// The sizes to read: themes store few, so that most requests get the same images.
std::set<int> sizesOf(const char* theme, int nominal) {
  std::set<int> stored;
  for (const int quarters : kQuarters) {
    const Images images(XcursorLibraryLoadImages("default", theme, nominal * quarters / 4));
    if (images && images->nimage > 0) stored.insert(static_cast<int>(images->images[0]->size));
  }
  return stored;
}

}  // namespace

std::span<const QLatin1StringView> themeCursorNames() { return kNames; }

std::shared_ptr<const CursorNames> readCursorTheme(const QByteArray& theme, int size) {
  static std::mutex oneAtATime;  // The library keeps its search path.
  const std::lock_guard lock(oneAtATime);
  const int nominal = size > 0 && size <= CursorNames::kMaxSide ? size : kDefaultSize;
  auto names = std::make_shared<CursorNames>();
  for (const char* each : {theme.isEmpty() ? "default" : theme.constData(), kFallbackTheme}) {
    for (const int stored : sizesOf(each, nominal)) read(*names, each, stored);
  }
  return names;
}

}  // namespace vantora
