// The third level of the host's layout, the keys of "key_press", and Caps Lock.
#include "tests/x11/input/X11InputFixture.h"
#include "tests/x11/support/KeyDecoder.h"

namespace vantora::testx11 {
namespace {

constexpr int kLock = XCB_MOD_MASK_LOCK;
constexpr int kThirdLevel = XCB_MOD_MASK_5;
constexpr int kLevel3Placeholder = 92;
constexpr int kAltRight = 108;

class X11KeyStateTest : public X11InputFixture {
 protected:
  // The last key press that was no modifier, as the application translates it.
  std::uint32_t lastKeysym() {
    std::uint32_t last = 0;
    const KeyDecoder decoder(server_.display());
    for (const SeenEvent& event : window().ofType({XCB_KEY_PRESS})) {
      const std::uint32_t keysym = decoder.keysym(event.detail, event.state);
      const bool modifier = (keysym >= 0xffe1 && keysym <= 0xffee) || keysym == 0xfe03;
      if (!modifier) last = keysym;
    }
    return last;
  }
  // The character that the application gets for a key.
  char32_t typed(const char* name, const KeyModifiers& modifiers) {
    window_->clear();
    EXPECT_TRUE(key(name, true, modifiers)) << name;
    EXPECT_TRUE(key(name, false, modifiers)) << name;
    EXPECT_TRUE(window().keysDown().empty()) << name;
    return KeyDecoder::character(lastKeysym());
  }
  void pressCapsLock() {
    window().personKey(kCapsLock, true);
    window().personKey(kCapsLock, false);
  }
  int locks() { return window().pointer().mask & kLock; }
};

struct ThirdLevel {
  const char* layout;
  const char* key;
  KeyModifiers modifiers;
  char32_t character;
};
constexpr KeyModifiers kAltGr{.altgr = true};
constexpr KeyModifiers kShiftAltGr{.shift = true, .altgr = true};

TEST_F(X11KeyStateTest, typesTheThirdLevelOfTheLayout) {
  const ThirdLevel cases[] = {
      {"de", "KeyQ", kAltGr, U'@'},          {"de", "Digit7", kAltGr, U'{'},     {"de", "Digit0", kAltGr, U'}'},
      {"de", "Digit8", kAltGr, U'['},        {"de", "Digit9", kAltGr, U']'},     {"de", "Minus", kAltGr, U'\\'},
      {"de", "IntlBackslash", kAltGr, U'|'}, {"de", "KeyE", kAltGr, U'€'},       {"de", "KeyY", {.shift = true}, U'Z'},
      {"fr", "Digit0", kAltGr, U'@'},        {"fr", "Digit4", kAltGr, U'{'},     {"fr", "Equal", kAltGr, U'}'},
      {"fr", "Digit5", kAltGr, U'['},        {"fr", "Minus", kAltGr, U']'},      {"fr", "Digit8", kAltGr, U'\\'},
      {"fr", "Digit6", kAltGr, U'|'},        {"fr", "KeyE", kAltGr, U'€'},       {"es", "Digit2", kAltGr, U'@'},
      {"es", "Quote", kAltGr, U'{'},         {"es", "Backslash", kAltGr, U'}'},  {"es", "BracketLeft", kAltGr, U'['},
      {"es", "BracketRight", kAltGr, U']'},  {"es", "Backquote", kAltGr, U'\\'}, {"es", "Digit1", kAltGr, U'|'},
      {"es", "KeyE", kAltGr, U'€'},          {"pl", "KeyA", kAltGr, U'ą'},       {"pl", "KeyL", kAltGr, U'ł'},
      {"pl", "KeyZ", kShiftAltGr, U'Ż'},     {"pl", "KeyX", kShiftAltGr, U'Ź'},  {"pl", "KeyO", kAltGr, U'ó'},
  };
  std::string layout;
  for (const ThirdLevel& each : cases) {
    if (layout != each.layout) {
      ASSERT_EQ(server_.run({"setxkbmap", each.layout}), 0);
    }
    layout = each.layout;
    EXPECT_EQ(typed(each.key, each.modifiers), each.character) << each.layout << ' ' << each.key;
  }
}

TEST_F(X11KeyStateTest, aDeadKeyArrivesAsOne) {
  ASSERT_EQ(server_.run({"setxkbmap", "de"}), 0);
  (void)typed("Backquote", {});
  EXPECT_EQ(lastKeysym(), 0xfe52U) << "dead circumflex";
  ASSERT_EQ(server_.run({"setxkbmap", "es"}), 0);
  (void)typed("BracketLeft", {});
  EXPECT_EQ(lastKeysym(), 0xfe50U) << "dead grave";
}

TEST_F(X11KeyStateTest, usesTheLayoutsOwnKeyForTheThirdLevel) {
  ASSERT_EQ(server_.run({"setxkbmap", "de"}), 0);
  EXPECT_TRUE(key("KeyQ", true, kAltGr));
  EXPECT_TRUE(window().keysDown().contains(kAltRight));
  EXPECT_TRUE(key("KeyQ", false));
  ASSERT_EQ(server_.run({"setxkbmap", "de", "-option", "lv3:caps_switch"}), 0);
  EXPECT_EQ(typed("KeyQ", kAltGr), U'@');
  ASSERT_EQ(server_.run({"setxkbmap", "de", "-option", "", "-option", "lv3:ralt_alt"}), 0);
  EXPECT_TRUE(key("KeyQ", true, kAltGr));
  EXPECT_TRUE(window().keysDown().contains(kLevel3Placeholder));
  EXPECT_EQ(lastKeysym(), xcb_keysym_t{U'@'});
  EXPECT_TRUE(key("KeyQ", false));
}

TEST_F(X11KeyStateTest, typesWithoutAThirdLevelWhereThereIsNone) {
  EXPECT_EQ(typed("KeyQ", kAltGr), U'q');
  ASSERT_EQ(server_.run({"xmodmap", "-e", "clear mod5", "-e", "keycode 92 ="}), 0);
  EXPECT_EQ(typed("KeyQ", kAltGr), U'q');
  EXPECT_EQ(window().ofType({XCB_KEY_PRESS}).size(), 1U);
}

TEST_F(X11KeyStateTest, thePersonsAltGrChangesNothing) {
  ASSERT_EQ(server_.run({"setxkbmap", "de"}), 0);
  window().personKey(kAltRight, true);
  EXPECT_TRUE(key("KeyQ", true));
  EXPECT_EQ(lastKeysym(), xcb_keysym_t{U'q'});
  EXPECT_TRUE(key("KeyQ", false));
  EXPECT_EQ(window().keysDown(), std::set<int>{kAltRight});
  EXPECT_EQ(window().pointer().mask & 0xff, kThirdLevel);
  EXPECT_TRUE(key("KeyQ", true, kAltGr));
  EXPECT_EQ(lastKeysym(), xcb_keysym_t{U'@'});
}

TEST_F(X11KeyStateTest, typesTheSameWhileThePersonsCapsLockIsOn) {
  for (const char* layout : {"us", "de", "fr"}) {
    ASSERT_EQ(server_.run({"setxkbmap", layout}), 0);
    const char32_t lower = typed("KeyS", {});
    const char32_t digit = typed("Digit2", {});
    pressCapsLock();
    ASSERT_EQ(locks(), kLock);
    EXPECT_EQ(typed("KeyS", {}), lower) << layout;
    EXPECT_EQ(typed("KeyS", {.shift = true}), U'S') << layout;
    EXPECT_EQ(typed("Digit2", {}), digit) << layout;
    EXPECT_EQ(locks(), kLock) << layout;
    pressCapsLock();
    ASSERT_EQ(locks(), 0);
  }
}

TEST_F(X11KeyStateTest, leavesNumLockOn) {
  window().personKey(kNumLock, true);
  window().personKey(kNumLock, false);
  EXPECT_EQ(typed("Numpad5", {}), U'5');
  EXPECT_NE(window().pointer().mask & XCB_MOD_MASK_2, 0);
}

TEST_F(X11KeyStateTest, theViewersCapsLockSwitchesIt) {
  EXPECT_TRUE(key("CapsLock", true) && key("CapsLock", false));
  EXPECT_EQ(locks(), kLock);
  EXPECT_TRUE(key("CapsLock", true) && key("CapsLock", false));
  EXPECT_EQ(locks(), 0);
}

TEST_F(X11KeyStateTest, aModifiersOwnKeyIsPressedAndReleasedOnce) {
  for (const auto& [name, keycode] : {std::pair{"MetaLeft", kSuperLeft}, {"AltLeft", kAltLeft}}) {
    for (const bool also : {false, true}) {
      const KeyModifiers modifiers{.alt = also, .meta = also};
      window_->clear();
      EXPECT_TRUE(key(name, true, modifiers));
      EXPECT_TRUE(window().keysDown().contains(keycode));
      EXPECT_TRUE(key(name, false, modifiers));
      EXPECT_TRUE(window().keysDown().empty()) << name;
      std::size_t events = 0;
      for (const SeenEvent& event : window().keys()) events += event.detail == keycode ? 1 : 0;
      EXPECT_EQ(events, 2U) << name;
    }
  }
}

// The kernel's numbers are those of the positions on a PC keyboard, less 8.
TEST_F(X11KeyStateTest, everyFurtherKeyArrivesAtItsPlace) {
  for (const PressableKey& known : furtherKeys()) {
    window_->clear();
    EXPECT_TRUE(key(known.name, true)) << known.name;
    EXPECT_TRUE(key(known.name, false)) << known.name;
    const auto seen = window().keys();
    ASSERT_EQ(seen.size(), 2U) << known.name;
    EXPECT_EQ(seen[0].detail, known.evdev + 8) << known.name;
    EXPECT_EQ(seen[1].detail, known.evdev + 8) << known.name;
  }
  EXPECT_TRUE(key("CapsLock", true) && key("CapsLock", false));
}

}  // namespace
}  // namespace vantora::testx11
