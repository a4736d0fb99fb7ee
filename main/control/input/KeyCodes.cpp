#include "main/control/input/KeyCodes.h"

namespace vantora {
namespace {

constexpr KeyCode kKeyCodes[] = {
    // clang-format off
    {"Enter", 36}, {"NumpadEnter", 36}, {"Escape", 53}, {"Tab", 48}, {"Backspace", 51},
    {"Space", 49}, {"ArrowLeft", 123}, {"ArrowRight", 124}, {"ArrowDown", 125}, {"ArrowUp", 126},
    {"KeyA", 0}, {"KeyS", 1}, {"KeyD", 2}, {"KeyF", 3}, {"KeyH", 4},
    {"KeyG", 5}, {"KeyZ", 6}, {"KeyX", 7}, {"KeyC", 8}, {"KeyV", 9},
    {"KeyB", 11}, {"KeyQ", 12}, {"KeyW", 13}, {"KeyE", 14}, {"KeyR", 15},
    {"KeyY", 16}, {"KeyT", 17}, {"Digit1", 18}, {"Digit2", 19}, {"Digit3", 20},
    {"Digit4", 21}, {"Digit6", 22}, {"Digit5", 23}, {"Equal", 24}, {"Digit9", 25},
    {"Digit7", 26}, {"Minus", 27}, {"Digit8", 28}, {"Digit0", 29}, {"BracketRight", 30},
    {"KeyO", 31}, {"KeyU", 32}, {"BracketLeft", 33}, {"KeyI", 34}, {"KeyP", 35},
    {"KeyL", 37}, {"KeyJ", 38}, {"Quote", 39}, {"KeyK", 40}, {"Semicolon", 41},
    {"Backslash", 42}, {"Comma", 43}, {"Slash", 44}, {"KeyN", 45}, {"KeyM", 46},
    {"Period", 47},
    // clang-format on
};

}  // namespace

std::span<const KeyCode> keyCodes() { return kKeyCodes; }

std::optional<std::uint16_t> keyCodeFor(QStringView name) {
  for (const KeyCode& key : kKeyCodes) {
    if (name == QLatin1StringView(key.name)) return key.code;
  }
  return std::nullopt;
}

}  // namespace vantora
