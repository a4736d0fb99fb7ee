// The keys of a viewer's keyboard.
#pragma once

#include <QLatin1StringView>
#include <QStringView>
#include <cstdint>
#include <optional>
#include <span>

namespace vantora {

struct KeyCode {
  const char* name;     // Web "code" name of a physical position.
  std::uint16_t code;   // Its virtual key code, in the numbering of the ANSI keyboard.
  std::uint16_t evdev;  // The kernel's code of the position (linux/input-event-codes.h).
};

// Every key that a viewer can hold down ("keyDown"). Function keys, modifiers by themselves and the keypad's digits are
// left out on purpose.
std::span<const KeyCode> keyCodes();

// The key with exactly this name; null for any other name. Pure.
const KeyCode* findKey(QStringView name);

// A key that can only be pressed and released at once ("key_press").
struct PressableKey {
  const char* name;     // Web "code" name.
  std::uint16_t evdev;  // As above.
};
std::span<const PressableKey> furtherKeys();

// The kernel's code of the key with exactly this name, in either table; nullopt for any other name. Pure.
std::optional<std::uint16_t> pressableKey(QStringView name);

}  // namespace vantora
