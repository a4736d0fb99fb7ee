// Which modifier keys to press and lift around a key event.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <vector>

#include "platform/DesktopInput.h"

namespace vantora {

using Keycode = std::uint8_t;
using Keymap = std::bitset<256>;

// The keymap in the 32 bytes that the protocol uses, lowest keycode first. Pure.
Keymap keymapFromBytes(const std::uint8_t* bytes);

// The modifiers that a viewer can ask for.
enum class Modifier { shift, control, alt, meta };
inline constexpr std::array kModifiers = {Modifier::shift, Modifier::control, Modifier::alt, Modifier::meta};

bool wants(const KeyModifiers& modifiers, Modifier modifier);

// The keys behind one modifier.
struct ModifierKeys {
  Keycode press = 0;          // The key to press for it; 0: the keyboard has none.
  std::vector<Keycode> keys;  // Every key that gives it.
};
using ModifierTable = std::array<ModifierKeys, kModifiers.size()>;

struct ModifierPlan {
  std::vector<Keycode> lift;     // Release before the event, in this order.
  std::vector<Keycode> press;    // Press before the event, after the releases.
  std::vector<Keycode> putBack;  // Press again after the event: others hold these.
  bool operator==(const ModifierPlan&) const = default;
};

// What makes an application see exactly `wanted`, given the keys that are `down` and those of them
// that we hold ourselves (`own`). A modifier that is asked for and that somebody holds already
// needs no key of ours. Pure.
ModifierPlan planModifiers(const ModifierTable& table, const KeyModifiers& wanted, const Keymap& down,
                           const Keymap& own);

}  // namespace vantora
