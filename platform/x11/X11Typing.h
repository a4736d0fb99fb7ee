// Types any character on an X server.
#pragma once

#include <QTimer>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/DesktopInput.h"
#include "platform/x11/SpareKeys.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Keyboard.h"
#include "platform/x11/X11Layout.h"

namespace vantora {

// Finds the strokes for a text. Characters that the layout lacks are put on keycodes without a meaning, several at
// once, and are taken away kKeep after the last use. A property of the root window lists them, so that those of a
// program that was killed are recognised; of several programs on a server only the first one keeps that list. Thread
// and owner: those of X11Input.
class X11Typing {
 public:
  static constexpr std::chrono::seconds kKeep{10};

  // Both must outlive this object.
  X11Typing(X11Connection& server, X11Keyboard& keyboard) : server_(server), keyboard_(keyboard) {}

  // The strokes for the beginning of `text`, to be posted at once, and how to go on. `group`: that of the keyboard.
  // X11Keyboard::refresh() comes before. May wait for the server.
  struct Strokes {
    std::vector<X11Layout::Stroke> strokes = {};
    TypingStep step = {};
  };
  Strokes prepare(std::u32string_view text, int group);
  // Takes the characters away soon, once programs had the time to look them up.
  void giveBackSoon();
  // Takes them away at once.
  void giveBack();

 private:
  bool refresh();
  void takeLeftovers();
  // Whether this program keeps the list, because no other one that lives does.
  bool takeList(xcb_connection_t* connection);
  bool assign(std::u32string_view text, int group);
  void write(xcb_connection_t* connection, const std::vector<Keycode>& changed);
  void giveBackAfter(std::chrono::milliseconds delay);

  X11Connection& server_;
  X11Keyboard& keyboard_;
  X11Layout layout_;
  SpareKeys spare_;
  std::uint64_t revision_ = 0;    // Of the keyboard, when the layout was read; 0: never.
  std::uint64_t generation_ = 0;  // Of the connection, when leftovers were looked for.
  xcb_atom_t property_ = XCB_NONE;
  bool keepsList_ = false;
  bool paused_ = false;  // The last step only changed the map.
  std::unique_ptr<QTimer> timer_;
};

}  // namespace vantora
