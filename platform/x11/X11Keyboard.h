// The keyboard of an X server.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "platform/ModifierPlan.h"
#include "platform/x11/X11Connection.h"

namespace vantora {

// Tables of the server's keyboard: which keycode is at which position, which keys are modifiers. Read as a whole by
// refresh(), and again after noteEvent() has seen a change of the keyboard. Keycodes are found by position and never by
// what a key types, so every layout types as its own keyboard would. Thread and owner: those of X11Input.
class X11Keyboard {
 public:
  // Starts to watch the keyboard of a new connection; the tables are read at the next refresh().
  void attach(X11Connection& server);
  // Checks an event of the connection for a change of the keyboard.
  void noteEvent(const xcb_generic_event_t& event);
  // Reads the tables when they are stale. Round trips only then.
  void refresh(X11Connection& server);

  struct State {
    Keymap down;              // Pressed by any device.
    Keymap repeats;           // The keys that repeat while they are held.
    std::uint8_t locked = 0;  // The modifiers that are on without a key: Caps Lock, Num Lock, those of sticky keys.
    int group = 0;            // The layout in use, where there are several.
  };
  // One round trip; nullopt when the server does not reply.
  std::optional<State> readState(X11Connection& server) const;
  // Those of the locked modifiers that an event of this key (0: any other) must not show: Caps Lock, unless the key
  // switches it, and the modifiers of the table.
  std::uint8_t unwanted(std::uint8_t locked, Keycode keycode = 0) const;
  // Locks or unlocks modifiers, for all keyboard devices.
  void setLocks(xcb_connection_t* connection, std::uint8_t modifiers, bool locked) const;
  // Changes the keys that repeat, for all keyboard devices, without announcing a new keyboard map: applications would
  // fetch the whole map again, at every key.
  void setRepeats(xcb_connection_t* connection, const Keymap& repeats) const;

  // Keycode at the position `code` (see KeyPositions.h); 0: there is none.
  Keycode keycode(std::uint16_t code) const;
  const ModifierTable& modifiers() const { return modifiers_; }
  // The modifier of the third level; 0 without one.
  std::uint8_t altgrMask() const { return altgrMask_; }
  // Changes whenever the tables have been read again.
  std::uint64_t revision() const { return revision_; }

 private:
  void readNames(X11Connection& server);
  void readModifiers(X11Connection& server);
  Keycode named(const std::string& name) const;

  bool stale_ = true;
  bool watching_ = false;
  std::uint8_t firstXkbEvent_ = 0;
  std::map<std::string, Keycode> byName_;
  ModifierTable modifiers_;
  Keymap lockKeys_;
  std::uint8_t tableMask_ = 0;  // The modifiers of the table.
  std::uint8_t altgrMask_ = 0;
  std::uint64_t revision_ = 0;
};

}  // namespace vantora
