// Which modifier keys to press and release around a key event.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <vector>

#include "platform/DesktopInput.h"

namespace vantora {

using Keycode = std::uint8_t;
using Keymap = std::bitset<256>;

// The keymap from the protocol's 32 bytes, lowest keycode first. Pure.
Keymap keymapFromBytes(const std::uint8_t* bytes);

// The modifiers that a viewer can request.
enum class Modifier { shift, control, alt, meta, altgr };
inline constexpr std::array kModifiers = {Modifier::shift, Modifier::control, Modifier::alt, Modifier::meta,
                                          Modifier::altgr};

bool wants(const KeyModifiers& modifiers, Modifier modifier);

// The keys of one modifier.
struct ModifierKeys {
  Keycode press = 0;          // The key to press; 0: the keyboard has none.
  std::vector<Keycode> keys;  // Every key that sets the modifier.
};
using ModifierTable = std::array<ModifierKeys, kModifiers.size()>;

struct ModifierPlan {
  std::vector<Keycode> release;  // Release before the event, in this order.
  std::vector<Keycode> press;    // Press before the event, after the releases.
  std::vector<Keycode> restore;  // Press again after the event: held by the local user.
  bool operator==(const ModifierPlan&) const = default;
};

// The key events that make an application see exactly `wanted` with an event of the key `event`, given the keys that
// are `down` and those of them that this program holds (`own`). A wanted modifier that is already down needs no press.
// An `event` of a modifier key leaves that key alone. Pure.
ModifierPlan planModifiers(const ModifierTable& table, const KeyModifiers& wanted, const Keymap& down,
                           const Keymap& own, Keycode event = 0);

}  // namespace vantora
