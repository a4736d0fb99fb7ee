#include "platform/x11/KeyPositions.h"

#include <QLatin1StringView>

namespace vantora {
namespace {

struct Position {
  const char* code;
  const char* xkbName;
};

// XKB counts rows from the space bar upward (A to E) and keys from the left, within the letters,
// digits and signs.
constexpr Position kPositions[] = {
    // clang-format off
    {"Enter", "RTRN"}, {"NumpadEnter", "KPEN"}, {"Escape", "ESC"}, {"Tab", "TAB"},
    {"Backspace", "BKSP"}, {"Space", "SPCE"}, {"ArrowLeft", "LEFT"}, {"ArrowRight", "RGHT"},
    {"ArrowDown", "DOWN"}, {"ArrowUp", "UP"}, {"Digit1", "AE01"}, {"Digit2", "AE02"},
    {"Digit3", "AE03"}, {"Digit4", "AE04"}, {"Digit5", "AE05"}, {"Digit6", "AE06"},
    {"Digit7", "AE07"}, {"Digit8", "AE08"}, {"Digit9", "AE09"}, {"Digit0", "AE10"},
    {"Minus", "AE11"}, {"Equal", "AE12"}, {"KeyQ", "AD01"}, {"KeyW", "AD02"},
    {"KeyE", "AD03"}, {"KeyR", "AD04"}, {"KeyT", "AD05"}, {"KeyY", "AD06"},
    {"KeyU", "AD07"}, {"KeyI", "AD08"}, {"KeyO", "AD09"}, {"KeyP", "AD10"},
    {"BracketLeft", "AD11"}, {"BracketRight", "AD12"}, {"KeyA", "AC01"}, {"KeyS", "AC02"},
    {"KeyD", "AC03"}, {"KeyF", "AC04"}, {"KeyG", "AC05"}, {"KeyH", "AC06"},
    {"KeyJ", "AC07"}, {"KeyK", "AC08"}, {"KeyL", "AC09"}, {"Semicolon", "AC10"},
    {"Quote", "AC11"}, {"Backslash", "BKSL"}, {"KeyZ", "AB01"}, {"KeyX", "AB02"},
    {"KeyC", "AB03"}, {"KeyV", "AB04"}, {"KeyB", "AB05"}, {"KeyN", "AB06"},
    {"KeyM", "AB07"}, {"Comma", "AB08"}, {"Period", "AB09"}, {"Slash", "AB10"},
    // clang-format on
};

}  // namespace

std::string_view xkbKeyName(QStringView code) {
  for (const Position& position : kPositions) {
    if (code == QLatin1StringView(position.code)) return position.xkbName;
  }
  return {};
}

}  // namespace vantora
