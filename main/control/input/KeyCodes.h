// The keys that a viewer can press.
#pragma once

#include <QLatin1StringView>
#include <QStringView>
#include <cstdint>
#include <optional>
#include <span>

namespace vantora {

struct KeyCode {
  const char* name;    // Web "code" name of a physical position.
  std::uint16_t code;  // Its virtual key code, in the numbering of the ANSI keyboard.
};

// Every key that can be pressed. Function keys, modifiers by themselves and the keypad's digits
// are left out on purpose.
std::span<const KeyCode> keyCodes();

// The code for exactly `name`; none for any other name. Pure.
std::optional<std::uint16_t> keyCodeFor(QStringView name);

}  // namespace vantora
