// Keycodes without a meaning, which are given one for characters that the layout lacks.
#pragma once

#include <xcb/xcb.h>

#include <array>
#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "platform/ModifierPlan.h"

namespace vantora {

// Which symbols are on which of these keycodes, two on each: without and with Shift. A program looks an event up in the
// keyboard map that it reads when it gets to the event, so a symbol stays for at least kSettle after its last use, and
// the ones used longest ago are replaced first. Only a table: its owner changes the server's map. Pure.
class SpareKeys {
 public:
  using Clock = std::chrono::steady_clock;
  using Symbols = std::array<xcb_keysym_t, 2>;  // 0: none.
  struct Key {
    Keycode keycode = 0;
    Symbols symbols{};
    Clock::time_point used{};
  };
  struct Place {
    Keycode keycode = 0;
    bool shift = false;
  };

  static constexpr std::chrono::milliseconds kSettle{600};

  // Takes the server's map over: `spare` are the keycodes without symbols, `symbolsOf` tells the others'. Keys whose
  // symbols are not there any more become free, or leave the table when they have others.
  void update(std::span<const Keycode> spare, const std::function<Symbols(Keycode)>& symbolsOf);
  // Finds places for the symbols, the first ones first, as far as there are any now. The keycodes that changed.
  std::vector<Keycode> assign(std::span<const xcb_keysym_t> wanted, Clock::time_point now);
  // Where the symbol is.
  std::optional<Place> find(xcb_keysym_t symbol) const;
  // Notes that an event of this keycode was posted.
  void noteUse(Keycode keycode, Clock::time_point now);
  // When the next key can be replaced; zero when one can be now or there is none.
  Clock::duration untilFree(Clock::time_point now) const;
  // Takes all symbols away. The keycodes that changed.
  std::vector<Keycode> clear();

  const std::vector<Key>& keys() const { return keys_; }
  bool holdsAny() const;
  // The symbols of a keycode in this table; those of no other are known.
  Symbols symbolsOf(Keycode keycode) const;

 private:
  Key* choose(std::span<const Keycode> kept, Clock::time_point now);

  std::vector<Key> keys_;
};

}  // namespace vantora
