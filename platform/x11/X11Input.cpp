#include "platform/x11/X11Input.h"

#include <xcb/xtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <tuple>
#include <utility>
#include <vector>

#include "base/ThreadAffinity.h"
#include "platform/PixelOf.h"
#include "platform/x11/WheelClicks.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Keyboard.h"
#include "platform/x11/X11Typing.h"
#include "platform/x11/Xwayland.h"

namespace vantora {
namespace {

using LogicalButton = std::uint8_t;  // What applications see: 1 left, 2 centre, 3 right, 4 to 7 the wheel.

constexpr LogicalButton kWheelUp = 4;
constexpr LogicalButton kWheelDown = 5;
constexpr LogicalButton kWheelLeft = 6;
constexpr LogicalButton kWheelRight = 7;

LogicalButton logicalButton(PointerButton button) {
  switch (button) {
    case PointerButton::left:
      return 1;
    case PointerButton::centre:
      return 2;
    case PointerButton::right:
      return 3;
  }
  return 1;
}

std::int16_t coordinate(double fraction, int low, int size) {
  return static_cast<std::int16_t>(std::clamp(low + pixelOf(fraction, size), -32768, 32767));
}

class X11Input final : public DesktopInput {
 public:
  X11Input(const QString& displayName, Displays& displays) : connection_(displayName), displays_(displays) {}

  ~X11Input() override {
    // A server keeps keys down that a client pressed, even after the client has disconnected.
    if (xcb_connection_t* connection = connection_.writableConnection(); connection != nullptr && hasTest_) {
      releaseHeld(connection);
      typing_.giveBack();
      // Waits until the server has processed everything: closing right after a write can lose the data. A silent server
      // may still read it later.
      std::ignore = connection_.roundTrip();
    }
  }

  void requestPermission(PermissionCallback answer) override {
    affinity_.check("X11Input::requestPermission");
    // The loss of a server is detected only by a request.
    const bool usable = ready() != nullptr && connection_.roundTrip();
    answer({.granted = usable, .reason = xwayland_ ? kXwaylandTakesNothing.toString() : QString()});
  }

  bool moveTo(std::uint32_t displayId, double fx, double fy) override {
    affinity_.check("X11Input::moveTo");
    const auto display = displays_.find(displayId);
    if (!display) return false;
    const QRect& bounds = display->bounds;
    xcb_connection_t* connection = ready();
    if (connection == nullptr) return false;
    drain(connection);
    fake(connection, XCB_MOTION_NOTIFY, 0, coordinate(fx, bounds.x(), bounds.width()),
         coordinate(fy, bounds.y(), bounds.height()));
    xcb_flush(connection);
    return true;
  }

  void button(PointerButton button, bool down) override {
    affinity_.check("X11Input::button");
    xcb_connection_t* connection = ready();
    if (connection == nullptr) return;
    drain(connection);
    const LogicalButton logical = logicalButton(button);
    releaseButton(connection, logical);
    if (down) {
      heldButtons_[logical] = physicalButton(connection, logical);
      fake(connection, XCB_BUTTON_PRESS, heldButtons_[logical]);
    }
    xcb_flush(connection);
  }

  void wheel(const ScrollEvent& event) override {
    affinity_.check("X11Input::wheel");
    xcb_connection_t* connection = ready();
    if (connection == nullptr) return;
    drain(connection);
    clickWheel(connection, verticalWheel_.add(event.vertical), kWheelUp, kWheelDown);
    clickWheel(connection, horizontalWheel_.add(event.horizontal), kWheelRight, kWheelLeft);
    xcb_flush(connection);
  }

  bool key(std::uint16_t code, bool down, const KeyModifiers& modifiers) override {
    affinity_.check("X11Input::key");
    xcb_connection_t* connection = ready();
    if (connection == nullptr) return false;
    auto state = readState(connection);
    if (!state) return false;
    // After the replies, so that every earlier change of the keyboard is known.
    drain(connection);
    keyboard_.refresh(connection_);
    releaseRestored(connection, state->down);

    const auto held = heldKeys_.find(code);
    // A key is released with the keycode of its press, even if the layout has changed since.
    const Keycode keycode = held != heldKeys_.end() ? held->second.keycode : keyboard_.keycode(code);
    if (keycode == 0) return false;
    if (!down && held == heldKeys_.end()) return true;

    const ModifierPlan plan = planModifiers(keyboard_.modifiers(), modifiers, state->down, ownModifiers_, keycode);
    const std::uint8_t lifted = keyboard_.unwanted(state->locked, keycode);
    keyboard_.setLocks(connection, lifted, false);
    for (const Keycode key : plan.release) setModifier(connection, key, false);
    for (const Keycode key : plan.press) setModifier(connection, key, true);
    if (down) {
      pressKey(connection, code, keycode, state->repeats);
    } else {
      releaseKey(connection, held->second, state->repeats);
      heldKeys_.erase(held);
    }
    for (const Keycode key : plan.restore) {
      fake(connection, XCB_KEY_PRESS, key);
      restored_[key] = true;
    }
    keyboard_.setLocks(connection, lifted, true);
    if (heldKeys_.empty()) releaseModifiers(connection);
    xcb_flush(connection);
    return true;
  }

  TypingStep type(std::u32string_view text) override {
    affinity_.check("X11Input::type");
    xcb_connection_t* connection = ready();
    if (connection == nullptr) return {.possible = false};
    auto state = readState(connection);
    if (!state) return {.possible = false};
    drain(connection);
    keyboard_.refresh(connection_);
    releaseRestored(connection, state->down);
    const X11Typing::Strokes typed = typing_.prepare(text, state->group);
    if (typed.strokes.empty()) {
      xcb_flush(connection);
      return typed.step;
    }
    const std::uint8_t lifted = keyboard_.unwanted(state->locked);
    keyboard_.setLocks(connection, lifted, false);
    Keymap borrowed;  // From the local user, until the end of the step.
    for (const X11Layout::Stroke& stroke : typed.strokes) {
      const KeyModifiers modifiers{.shift = stroke.shift, .altgr = stroke.altgr};
      const ModifierPlan plan = planModifiers(keyboard_.modifiers(), modifiers, state->down, ownModifiers_);
      for (const Keycode key : plan.restore) borrowed[key] = true;
      for (const Keycode key : plan.release) state->down[key] = setModifier(connection, key, false);
      for (const Keycode key : plan.press) state->down[key] = setModifier(connection, key, true);
      // A key that is down could not be pressed.
      if (state->down[stroke.keycode]) fake(connection, XCB_KEY_RELEASE, stroke.keycode);
      state->down[stroke.keycode] = false;
      fake(connection, XCB_KEY_PRESS, stroke.keycode);
      fake(connection, XCB_KEY_RELEASE, stroke.keycode);
    }
    releaseModifiers(connection);
    for (std::size_t key = 0; key < borrowed.size(); ++key) {
      if (!borrowed[key]) continue;
      fake(connection, XCB_KEY_PRESS, static_cast<Keycode>(key));
      restored_[key] = true;
    }
    keyboard_.setLocks(connection, lifted, true);
    xcb_flush(connection);
    return typed.step;
  }

  void releaseAll() override {
    affinity_.check("X11Input::releaseAll");
    xcb_connection_t* connection = ready();
    // A silent server processes this when it resumes, possibly without any later call from here.
    if (connection == nullptr && hasTest_) connection = connection_.writableConnection();
    if (connection == nullptr) return;
    releaseHeld(connection);
    typing_.giveBackSoon();
  }

 private:
  struct HeldKey {
    Keycode keycode = 0;
    bool restoreRepeat = false;
  };

  // The live connection with the test extension, prepared; null when there is none.
  xcb_connection_t* ready() {
    xcb_connection_t* connection = connection_.open();
    if (connection == nullptr) return nullptr;
    if (generation_ != connection_.generation()) {
      generation_ = connection_.generation();
      // Programs grab the server while the user selects a region or drags an outline: they wait for exactly the motion
      // and release that are posted here.
      xwayland_ = isXwayland(connection_);
      hasTest_ = !xwayland_ && connection_.ignoreServerGrabs();
      pointerMapStale_ = true;
      keyboard_.attach(connection_);
      // Keys and buttons stay pressed after a broken connection to a live server, and after a silence.
      if (hasTest_) releaseHeld(connection);
    }
    return hasTest_ && !connection_.silent() ? connection : nullptr;
  }

  void drain(xcb_connection_t* connection) {
    while (const auto event = xcbOwned(xcb_poll_for_event(connection))) {
      keyboard_.noteEvent(*event);
      if ((event->response_type & 0x7f) == XCB_MAPPING_NOTIFY) pointerMapStale_ = true;
    }
  }

  void fake(xcb_connection_t* connection, std::uint8_t type, std::uint8_t detail, std::int16_t x = 0,
            std::int16_t y = 0) {
    const xcb_window_t root = type == XCB_MOTION_NOTIFY ? connection_.screen().root : XCB_NONE;
    xcb_test_fake_input(connection, type, detail, XCB_CURRENT_TIME, root, x, y, 0);
  }

  // The button to press so that applications see `button`: left-handed users swap them.
  std::uint8_t physicalButton(xcb_connection_t* connection, LogicalButton button) {
    if (pointerMapStale_) {
      pointerMapStale_ = false;
      pointerMap_.clear();
      const auto reply =
          connection_.reply<xcb_get_pointer_mapping_reply_t>(xcb_get_pointer_mapping_unchecked(connection));
      if (reply) {
        const std::uint8_t* map = xcb_get_pointer_mapping_map(reply.get());
        pointerMap_.assign(map, map + xcb_get_pointer_mapping_map_length(reply.get()));
      }
    }
    const auto found = std::find(pointerMap_.begin(), pointerMap_.end(), button);
    return found == pointerMap_.end() ? button : static_cast<std::uint8_t>(found - pointerMap_.begin() + 1);
  }

  void releaseButton(xcb_connection_t* connection, LogicalButton button) {
    if (heldButtons_[button] != 0) fake(connection, XCB_BUTTON_RELEASE, heldButtons_[button]);
    heldButtons_[button] = 0;
  }

  void clickWheel(xcb_connection_t* connection, int clicks, LogicalButton positive, LogicalButton negative) {
    if (clicks == 0) return;
    const std::uint8_t button = physicalButton(connection, clicks > 0 ? positive : negative);
    for (int click = 0; click < std::abs(clicks); ++click) {
      fake(connection, XCB_BUTTON_PRESS, button);
      fake(connection, XCB_BUTTON_RELEASE, button);
    }
  }

  // Each keyboard device may have a layout of its own, and the server shows that of the one used last. The release of a
  // key that no keyboard has reaches no program, but makes the test keyboard the one used last.
  std::optional<X11Keyboard::State> readState(xcb_connection_t* connection) {
    fake(connection, XCB_KEY_RELEASE, xcb_get_setup(connection)->min_keycode);
    const auto state = keyboard_.readState(connection_);
    if (state) lastRepeats_ = state->repeats;
    return state;
  }

  // Presses a key, or repeats it when it is down. The server would repeat a held key at its own rate, even after the
  // viewer has disconnected: a lost release would write or delete text endlessly. So the automatic repeat of this key
  // is off while the viewer holds it, and each repetition comes from the viewer's own keyboard.
  void pressKey(xcb_connection_t* connection, std::uint16_t code, Keycode keycode, const Keymap& repeats) {
    const auto [held, fresh] = heldKeys_.try_emplace(code, HeldKey{keycode, repeats[keycode]});
    if (fresh && repeats[keycode]) setRepeats(connection, Keymap(repeats).reset(keycode));
    if (!fresh) fake(connection, XCB_KEY_RELEASE, keycode);
    fake(connection, XCB_KEY_PRESS, keycode);
  }

  // `repeats`: the server's state, updated to the new one.
  void releaseKey(xcb_connection_t* connection, const HeldKey& key, Keymap& repeats) {
    fake(connection, XCB_KEY_RELEASE, key.keycode);
    if (!key.restoreRepeat) return;
    setRepeats(connection, repeats.set(key.keycode));
  }

  void setRepeats(xcb_connection_t* connection, const Keymap& repeats) {
    lastRepeats_ = repeats;
    keyboard_.setRepeats(connection, repeats);
  }

  bool setModifier(xcb_connection_t* connection, Keycode key, bool down) {
    fake(connection, down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, key);
    return ownModifiers_[key] = down;
  }

  void releaseModifiers(xcb_connection_t* connection) {
    for (std::size_t key = 0; key < ownModifiers_.size(); ++key) {
      if (ownModifiers_[key]) setModifier(connection, static_cast<Keycode>(key), false);
    }
  }

  // A modifier that was restored for the local user is also down on the test keyboard and stays down there after the
  // user's release: then it is released here too, or it could not be pressed again.
  void releaseRestored(xcb_connection_t* connection, const Keymap& down) {
    for (std::size_t key = 0; key < restored_.size(); ++key) {
      if (!restored_[key] || down[key]) continue;
      fake(connection, XCB_KEY_RELEASE, static_cast<Keycode>(key));
      restored_[key] = false;
    }
  }

  void releaseHeld(xcb_connection_t* connection) {
    for (std::size_t button = 1; button < heldButtons_.size(); ++button) {
      releaseButton(connection, static_cast<LogicalButton>(button));
    }
    if (!heldKeys_.empty() || restored_.any()) {
      const auto state = readState(connection);
      Keymap repeats = state ? state->repeats : lastRepeats_;
      for (const auto& [code, key] : heldKeys_) releaseKey(connection, key, repeats);
      heldKeys_.clear();
      if (state) releaseRestored(connection, state->down);
    }
    releaseModifiers(connection);
    verticalWheel_.reset();
    horizontalWheel_.reset();
    xcb_flush(connection);
  }

  ThreadAffinity affinity_;
  X11Connection connection_;
  Displays& displays_;
  std::uint64_t generation_ = 0;
  bool xwayland_ = false;  // The server passes no input to the desktop.
  bool hasTest_ = false;
  X11Keyboard keyboard_;
  X11Typing typing_{connection_, keyboard_};
  Keymap lastRepeats_;                     // Which keys repeat, as last read or set.
  std::vector<LogicalButton> pointerMap_;  // What applications see of each physical button.
  bool pointerMapStale_ = true;

  std::array<std::uint8_t, 8> heldButtons_{};  // Physical button that was pressed, by logical button; 0: up.
  std::map<std::uint16_t, HeldKey> heldKeys_;  // By the kernel's code: bounded by the table of positions.
  Keymap ownModifiers_;                        // Modifier keys held for the viewer.
  Keymap restored_;                            // Modifier keys pressed again for the local user.
  WheelClicks verticalWheel_;
  WheelClicks horizontalWheel_;
};

}  // namespace

std::unique_ptr<DesktopInput> makeX11Input(const QString& displayName, Displays& displays) {
  return std::make_unique<X11Input>(displayName, displays);
}

}  // namespace vantora
