#include "main/control/input/KeyCodes.h"

#include <linux/input-event-codes.h>

namespace vantora {
namespace {

constexpr KeyCode kKeyCodes[] = {
    // clang-format off
    {"Enter", 36, KEY_ENTER}, {"NumpadEnter", 36, KEY_KPENTER}, {"Escape", 53, KEY_ESC}, {"Tab", 48, KEY_TAB}, {"Backspace", 51, KEY_BACKSPACE},
    {"Space", 49, KEY_SPACE}, {"ArrowLeft", 123, KEY_LEFT}, {"ArrowRight", 124, KEY_RIGHT}, {"ArrowDown", 125, KEY_DOWN}, {"ArrowUp", 126, KEY_UP},
    {"KeyA", 0, KEY_A}, {"KeyS", 1, KEY_S}, {"KeyD", 2, KEY_D}, {"KeyF", 3, KEY_F}, {"KeyH", 4, KEY_H},
    {"KeyG", 5, KEY_G}, {"KeyZ", 6, KEY_Z}, {"KeyX", 7, KEY_X}, {"KeyC", 8, KEY_C}, {"KeyV", 9, KEY_V},
    {"KeyB", 11, KEY_B}, {"KeyQ", 12, KEY_Q}, {"KeyW", 13, KEY_W}, {"KeyE", 14, KEY_E}, {"KeyR", 15, KEY_R},
    {"KeyY", 16, KEY_Y}, {"KeyT", 17, KEY_T}, {"Digit1", 18, KEY_1}, {"Digit2", 19, KEY_2}, {"Digit3", 20, KEY_3},
    {"Digit4", 21, KEY_4}, {"Digit6", 22, KEY_6}, {"Digit5", 23, KEY_5}, {"Equal", 24, KEY_EQUAL}, {"Digit9", 25, KEY_9},
    {"Digit7", 26, KEY_7}, {"Minus", 27, KEY_MINUS}, {"Digit8", 28, KEY_8}, {"Digit0", 29, KEY_0}, {"BracketRight", 30, KEY_RIGHTBRACE},
    {"KeyO", 31, KEY_O}, {"KeyU", 32, KEY_U}, {"BracketLeft", 33, KEY_LEFTBRACE}, {"KeyI", 34, KEY_I}, {"KeyP", 35, KEY_P},
    {"KeyL", 37, KEY_L}, {"KeyJ", 38, KEY_J}, {"Quote", 39, KEY_APOSTROPHE}, {"KeyK", 40, KEY_K}, {"Semicolon", 41, KEY_SEMICOLON},
    {"Backslash", 42, KEY_BACKSLASH}, {"Comma", 43, KEY_COMMA}, {"Slash", 44, KEY_SLASH}, {"KeyN", 45, KEY_N}, {"KeyM", 46, KEY_M},
    {"Period", 47, KEY_DOT},
    // clang-format on
};

constexpr PressableKey kFurtherKeys[] = {
    // clang-format off
    {"Backquote", KEY_GRAVE}, {"IntlBackslash", KEY_102ND}, {"IntlRo", KEY_RO}, {"IntlYen", KEY_YEN},
    {"F1", KEY_F1}, {"F2", KEY_F2}, {"F3", KEY_F3}, {"F4", KEY_F4}, {"F5", KEY_F5}, {"F6", KEY_F6},
    {"F7", KEY_F7}, {"F8", KEY_F8}, {"F9", KEY_F9}, {"F10", KEY_F10}, {"F11", KEY_F11}, {"F12", KEY_F12},
    {"F13", KEY_F13}, {"F14", KEY_F14}, {"F15", KEY_F15}, {"F16", KEY_F16}, {"F17", KEY_F17}, {"F18", KEY_F18},
    {"F19", KEY_F19}, {"F20", KEY_F20}, {"F21", KEY_F21}, {"F22", KEY_F22}, {"F23", KEY_F23}, {"F24", KEY_F24},
    {"Insert", KEY_INSERT}, {"Delete", KEY_DELETE}, {"Home", KEY_HOME}, {"End", KEY_END},
    {"PageUp", KEY_PAGEUP}, {"PageDown", KEY_PAGEDOWN}, {"ContextMenu", KEY_COMPOSE},
    {"PrintScreen", KEY_SYSRQ}, {"Pause", KEY_PAUSE},
    {"CapsLock", KEY_CAPSLOCK}, {"NumLock", KEY_NUMLOCK}, {"ScrollLock", KEY_SCROLLLOCK},
    {"MetaLeft", KEY_LEFTMETA}, {"MetaRight", KEY_RIGHTMETA}, {"AltLeft", KEY_LEFTALT},
    {"Numpad0", KEY_KP0}, {"Numpad1", KEY_KP1}, {"Numpad2", KEY_KP2}, {"Numpad3", KEY_KP3}, {"Numpad4", KEY_KP4},
    {"Numpad5", KEY_KP5}, {"Numpad6", KEY_KP6}, {"Numpad7", KEY_KP7}, {"Numpad8", KEY_KP8}, {"Numpad9", KEY_KP9},
    {"NumpadDecimal", KEY_KPDOT}, {"NumpadAdd", KEY_KPPLUS}, {"NumpadSubtract", KEY_KPMINUS},
    {"NumpadMultiply", KEY_KPASTERISK}, {"NumpadDivide", KEY_KPSLASH}, {"NumpadEqual", KEY_KPEQUAL},
    {"NumpadComma", KEY_KPCOMMA},
    {"AudioVolumeMute", KEY_MUTE}, {"AudioVolumeDown", KEY_VOLUMEDOWN}, {"AudioVolumeUp", KEY_VOLUMEUP},
    // clang-format on
};

}  // namespace

std::span<const KeyCode> keyCodes() { return kKeyCodes; }

const KeyCode* findKey(QStringView name) {
  for (const KeyCode& key : kKeyCodes) {
    if (name == QLatin1StringView(key.name)) return &key;
  }
  return nullptr;
}

std::span<const PressableKey> furtherKeys() { return kFurtherKeys; }

std::optional<std::uint16_t> pressableKey(QStringView name) {
  if (const KeyCode* const key = findKey(name)) return key->evdev;
  for (const PressableKey& key : kFurtherKeys) {
    if (name == QLatin1StringView(key.name)) return key.evdev;
  }
  return std::nullopt;
}

}  // namespace vantora
