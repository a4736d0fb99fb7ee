// What the keys of an X server type.
#pragma once

#include <xcb/xcb.h>

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>
#include <vector>

#include "platform/x11/SpareKeys.h"
#include "platform/x11/X11Connection.h"

namespace vantora {

// The symbols of the server's keyboard map, read as a whole. Thread and owner: those of X11Typing.
class X11Layout {
 public:
  // How to type a character.
  struct Stroke {
    Keycode keycode = 0;
    bool shift = false;
    bool altgr = false;
  };

  // One round trip. `altgrMask`: the modifier of the third level, 0 without one. False when the server does not reply.
  [[nodiscard]] bool read(X11Connection& server, std::uint8_t altgrMask);

  // The stroke with the fewest modifiers, in the layout of `group` (0 to 3). The keypad is left out, since its keys
  // depend on Num Lock, and so are the keys of `ours`.
  std::optional<Stroke> find(char32_t character, int group, const SpareKeys& ours);
  // Keycodes without any symbol.
  const std::vector<Keycode>& spare() const { return spare_; }
  // The first two symbols of a key, {a, 0} where both are the same.
  SpareKeys::Symbols symbolsOf(Keycode keycode) const;

 private:
  struct KeyType {
    std::uint8_t mask = 0;
    std::map<std::uint8_t, std::uint8_t> levels = {};  // By modifiers; level 0 for all others.
  };
  struct Key {
    std::array<std::uint8_t, 4> types{};
    int groups = 0;
    std::uint8_t groupInfo = 0;
    int width = 0;
    std::vector<xcb_keysym_t> symbols;
  };
  using Strokes = std::unordered_map<char32_t, Stroke>;
  static std::optional<int> groupOf(const Key& key, int group);
  Strokes strokesOf(int group, const SpareKeys& ours) const;

  std::uint8_t altgrMask_ = 0;
  std::vector<KeyType> types_;
  std::map<Keycode, Key> keys_;
  std::vector<Keycode> spare_;
  std::array<std::optional<Strokes>, 4> strokes_;  // Of each group, once it was used.
};

}  // namespace vantora
