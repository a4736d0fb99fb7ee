#include "main/control/cursor/CursorShapes.h"

#include <QHash>
#include <array>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr std::array kShapes{
    "default"_L1,     "pointer"_L1,     "text"_L1,        "grab"_L1,       "grabbing"_L1,   "crosshair"_L1,
    "not-allowed"_L1, "ew-resize"_L1,   "ns-resize"_L1,   "n-resize"_L1,   "s-resize"_L1,   "w-resize"_L1,
    "e-resize"_L1,    "nwse-resize"_L1, "nesw-resize"_L1, "col-resize"_L1, "row-resize"_L1, "move"_L1,
};
constexpr std::size_t kTestShapes = 13;  // The first ones of the list, in its order.

struct Row {
  QLatin1StringView shape;
  QLatin1StringView names;  // Separated by blanks.
};

// Double arrows are "ew-resize" and "ns-resize" unless the name refers to a splitter. Some themes draw "hand1" as an
// open hand, but programs show it over links. The hashes are the names under which themes store the bitmaps of old
// toolkits.
constexpr std::array kRows{
    Row{"pointer"_L1,
        "pointer hand hand1 hand2 pointing_hand pointinghand pointing-hand "
        "e29285e634086352946a0e7090d73106 9d800788f1b08800ae810202380a0822"_L1},
    Row{"text"_L1, "text xterm ibeam vertical-text"_L1},
    Row{"grab"_L1, "grab openhand open-hand 5aca4d189052212118709018842178c0"_L1},
    Row{"grabbing"_L1,
        "grabbing closedhand closed-hand dnd-none 208530c400c041818281048008011002 fcf21c00b30f7e3f83fe0dfd12e71cff"_L1},
    Row{"crosshair"_L1, "crosshair cross tcross cross_reverse diamond_cross"_L1},
    Row{"not-allowed"_L1,
        "not-allowed no-drop dnd-no-drop forbidden crossed_circle circle 03b6e0fcb3499374a867c041f52298f0"_L1},
    Row{"ew-resize"_L1, "ew-resize h_double_arrow sb_h_double_arrow size_hor 028006030e0e7ebffc7f7070c0600140"_L1},
    Row{"ns-resize"_L1,
        "ns-resize v_double_arrow sb_v_double_arrow double_arrow size_ver 00008160000006810000408080010102"_L1},
    Row{"n-resize"_L1, "n-resize top_side sb_up_arrow top_tee up_arrow up-arrow"_L1},
    Row{"s-resize"_L1, "s-resize bottom_side sb_down_arrow bottom_tee down_arrow down-arrow"_L1},
    Row{"w-resize"_L1, "w-resize left_side sb_left_arrow left_tee left_arrow left-arrow"_L1},
    Row{"e-resize"_L1, "e-resize right_side sb_right_arrow right_tee right_arrow right-arrow"_L1},
    Row{"nwse-resize"_L1,
        "nwse-resize nw-resize se-resize bd_double_arrow size_fdiag top_left_corner bottom_right_corner "
        "ul_angle lr_angle c7088f0f3e6c8088236ef8e1e3e70000"_L1},
    Row{"nesw-resize"_L1,
        "nesw-resize ne-resize sw-resize fd_double_arrow size_bdiag top_right_corner bottom_left_corner "
        "ur_angle ll_angle fcf1c3c7cd4491d801f1e1c78f100000"_L1},
    Row{"col-resize"_L1, "col-resize split_h 14fef782d02440884392942c11205230"_L1},
    Row{"row-resize"_L1, "row-resize split_v 2870a09082c103050810ffdffffe0204"_L1},
    Row{"move"_L1,
        "move all-scroll fleur size_all dnd-move pointer-move pointer_move "
        "4498f0e0c1937ffe01fd06f973665830 9081237383d90e509aa00f00170e968f"_L1},
};

QHash<QString, QLatin1StringView> shapesByName() {
  QHash<QString, QLatin1StringView> shapes;
  for (const Row& row : kRows) {
    for (const QLatin1StringView name : row.names.tokenize(u' ')) shapes.insert(name, row.shape);
  }
  return shapes;
}

}  // namespace

std::span<const QLatin1StringView> cursorShapes() { return kShapes; }

QString mapNSCursorToWebCursor(QStringView cursor) {
  static const auto shapes = shapesByName();
  const auto found = shapes.find(cursor.toString().toLower());
  return found == shapes.end() ? u"default"_s : QString(*found);
}

QString simulateTestCursor(std::chrono::nanoseconds unixTime) {
  constexpr std::chrono::seconds kEach(3);
  return kShapes[static_cast<std::size_t>(unixTime / kEach) % kTestShapes];
}

}  // namespace vantora
