// The keys that a viewer can press.
#pragma once

#include <QLatin1StringView>
#include <QStringView>
#include <cstdint>
#include <span>

namespace vantora {

struct KeyCode {
  const char* name;     // Web "code" name of a physical position.
  std::uint16_t code;   // Its virtual key code, in the numbering of the ANSI keyboard.
  std::uint16_t evdev;  // The kernel's code of the position (linux/input-event-codes.h).
};

// Every key that can be pressed. Function keys, modifiers by themselves and the keypad's digits
// are left out on purpose.
std::span<const KeyCode> keyCodes();

// The key with exactly this name; null for any other name. Pure.
const KeyCode* findKey(QStringView name);

}  // namespace vantora
