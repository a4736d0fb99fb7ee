#include "platform/ModifierPlan.h"

namespace vantora {

Keymap keymapFromBytes(const std::uint8_t* bytes) {
  Keymap keymap;
  for (std::size_t key = 0; key < keymap.size(); ++key) keymap[key] = (bytes[key / 8] >> (key % 8) & 1) != 0;
  return keymap;
}

bool wants(const KeyModifiers& modifiers, Modifier modifier) {
  switch (modifier) {
    case Modifier::shift:
      return modifiers.shift;
    case Modifier::control:
      return modifiers.control;
    case Modifier::alt:
      return modifiers.alt;
    case Modifier::meta:
      return modifiers.meta;
    case Modifier::altgr:
      return modifiers.altgr;
  }
  return false;
}

ModifierPlan planModifiers(const ModifierTable& table, const KeyModifiers& wanted, const Keymap& down,
                           const Keymap& own, Keycode event) {
  ModifierPlan plan;
  for (const Modifier modifier : kModifiers) {
    const ModifierKeys& entry = table[static_cast<std::size_t>(modifier)];
    bool active = false;
    for (const Keycode key : entry.keys) {
      if (!down[key] || key == event) continue;
      active = true;
      if (wants(wanted, modifier)) continue;
      plan.release.push_back(key);
      if (!own[key]) plan.restore.push_back(key);
    }
    if (wants(wanted, modifier) && !active && entry.press != 0 && entry.press != event)
      plan.press.push_back(entry.press);
  }
  return plan;
}

}  // namespace vantora
