#include "platform/x11/KeyPositions.h"

#include <linux/input-event-codes.h>

namespace vantora {
namespace {

struct Position {
  std::uint16_t code;
  const char* xkbName;
};

// XKB numbers rows from the space bar upward (A to E) and keys from the left, within the main block.
constexpr Position kPositions[] = {
    // clang-format off
    {KEY_ENTER, "RTRN"}, {KEY_KPENTER, "KPEN"}, {KEY_ESC, "ESC"}, {KEY_TAB, "TAB"},
    {KEY_BACKSPACE, "BKSP"}, {KEY_SPACE, "SPCE"}, {KEY_LEFT, "LEFT"}, {KEY_RIGHT, "RGHT"},
    {KEY_DOWN, "DOWN"}, {KEY_UP, "UP"}, {KEY_1, "AE01"}, {KEY_2, "AE02"},
    {KEY_3, "AE03"}, {KEY_4, "AE04"}, {KEY_5, "AE05"}, {KEY_6, "AE06"},
    {KEY_7, "AE07"}, {KEY_8, "AE08"}, {KEY_9, "AE09"}, {KEY_0, "AE10"},
    {KEY_MINUS, "AE11"}, {KEY_EQUAL, "AE12"}, {KEY_Q, "AD01"}, {KEY_W, "AD02"},
    {KEY_E, "AD03"}, {KEY_R, "AD04"}, {KEY_T, "AD05"}, {KEY_Y, "AD06"},
    {KEY_U, "AD07"}, {KEY_I, "AD08"}, {KEY_O, "AD09"}, {KEY_P, "AD10"},
    {KEY_LEFTBRACE, "AD11"}, {KEY_RIGHTBRACE, "AD12"}, {KEY_A, "AC01"}, {KEY_S, "AC02"},
    {KEY_D, "AC03"}, {KEY_F, "AC04"}, {KEY_G, "AC05"}, {KEY_H, "AC06"},
    {KEY_J, "AC07"}, {KEY_K, "AC08"}, {KEY_L, "AC09"}, {KEY_SEMICOLON, "AC10"},
    {KEY_APOSTROPHE, "AC11"}, {KEY_BACKSLASH, "BKSL"}, {KEY_Z, "AB01"}, {KEY_X, "AB02"},
    {KEY_C, "AB03"}, {KEY_V, "AB04"}, {KEY_B, "AB05"}, {KEY_N, "AB06"},
    {KEY_M, "AB07"}, {KEY_COMMA, "AB08"}, {KEY_DOT, "AB09"}, {KEY_SLASH, "AB10"},
    // clang-format on
};

}  // namespace

std::string_view xkbKeyName(std::uint16_t code) {
  for (const Position& position : kPositions) {
    if (code == position.code) return position.xkbName;
  }
  return {};
}

}  // namespace vantora
