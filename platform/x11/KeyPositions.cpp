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
    {KEY_GRAVE, "TLDE"}, {KEY_102ND, "LSGT"}, {KEY_RO, "AB11"}, {KEY_YEN, "AE13"},
    {KEY_F1, "FK01"}, {KEY_F2, "FK02"}, {KEY_F3, "FK03"}, {KEY_F4, "FK04"},
    {KEY_F5, "FK05"}, {KEY_F6, "FK06"}, {KEY_F7, "FK07"}, {KEY_F8, "FK08"},
    {KEY_F9, "FK09"}, {KEY_F10, "FK10"}, {KEY_F11, "FK11"}, {KEY_F12, "FK12"},
    {KEY_F13, "FK13"}, {KEY_F14, "FK14"}, {KEY_F15, "FK15"}, {KEY_F16, "FK16"},
    {KEY_F17, "FK17"}, {KEY_F18, "FK18"}, {KEY_F19, "FK19"}, {KEY_F20, "FK20"},
    {KEY_F21, "FK21"}, {KEY_F22, "FK22"}, {KEY_F23, "FK23"}, {KEY_F24, "FK24"},
    {KEY_INSERT, "INS"}, {KEY_DELETE, "DELE"}, {KEY_HOME, "HOME"}, {KEY_END, "END"},
    {KEY_PAGEUP, "PGUP"}, {KEY_PAGEDOWN, "PGDN"}, {KEY_COMPOSE, "COMP"}, {KEY_SYSRQ, "PRSC"},
    {KEY_PAUSE, "PAUS"}, {KEY_CAPSLOCK, "CAPS"}, {KEY_NUMLOCK, "NMLK"}, {KEY_SCROLLLOCK, "SCLK"},
    {KEY_LEFTMETA, "LWIN"}, {KEY_RIGHTMETA, "RWIN"}, {KEY_LEFTALT, "LALT"},
    {KEY_KP0, "KP0"}, {KEY_KP1, "KP1"}, {KEY_KP2, "KP2"}, {KEY_KP3, "KP3"}, {KEY_KP4, "KP4"},
    {KEY_KP5, "KP5"}, {KEY_KP6, "KP6"}, {KEY_KP7, "KP7"}, {KEY_KP8, "KP8"}, {KEY_KP9, "KP9"},
    {KEY_KPDOT, "KPDL"}, {KEY_KPPLUS, "KPAD"}, {KEY_KPMINUS, "KPSU"}, {KEY_KPASTERISK, "KPMU"},
    {KEY_KPSLASH, "KPDV"}, {KEY_KPEQUAL, "KPEQ"}, {KEY_KPCOMMA, "KPPT"},
    {KEY_MUTE, "MUTE"}, {KEY_VOLUMEDOWN, "VOL-"}, {KEY_VOLUMEUP, "VOL+"},
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
