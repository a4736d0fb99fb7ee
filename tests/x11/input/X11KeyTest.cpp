#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

#include <map>

#include "main/control/input/KeyCodes.h"
#include "tests/x11/input/X11InputFixture.h"

namespace vantora::testx11 {
namespace {

// The position of each key on a PC keyboard.
const std::map<std::string, int>& keycodes() {
  static const std::map<std::string, int> table = [] {
    std::map<std::string, int> keys = {
        {"Enter", 36},     {"NumpadEnter", 104}, {"Escape", 9},       {"Tab", 23},         {"Backspace", 22},
        {"Space", 65},     {"ArrowLeft", 113},   {"ArrowRight", 114}, {"ArrowDown", 116},  {"ArrowUp", 111},
        {"Digit0", 19},    {"Minus", 20},        {"Equal", 21},       {"BracketLeft", 34}, {"BracketRight", 35},
        {"Semicolon", 47}, {"Quote", 48},        {"Backslash", 51},   {"Comma", 59},       {"Period", 60},
        {"Slash", 61}};
    const auto row = [&keys](const char* prefix, const std::string& letters, int first) {
      for (const char letter : letters) keys[prefix + std::string(1, letter)] = first++;
    };
    row("Digit", "123456789", 10);
    row("Key", "QWERTYUIOP", 24);
    row("Key", "ASDFGHJKL", 38);
    row("Key", "ZXCVBNM", 52);
    return keys;
  }();
  return table;
}

constexpr xcb_keysym_t kDeadAcute = 0xfe51;
constexpr xcb_keysym_t kDeadCircumflex = 0xfe52;

// What the keys of the main block type, row by row, without Shift. Keysyms of these characters are
// their Unicode numbers; A stands for a dead acute, C for a dead circumflex.
struct Layout {
  const char* name;
  const char16_t* rows[5];
};
const std::vector<std::string> kRows[5] = {
    {"Digit1", "Digit2", "Digit3", "Digit4", "Digit5", "Digit6", "Digit7", "Digit8", "Digit9", "Digit0", "Minus",
     "Equal"},
    {"KeyQ", "KeyW", "KeyE", "KeyR", "KeyT", "KeyY", "KeyU", "KeyI", "KeyO", "KeyP", "BracketLeft", "BracketRight"},
    {"KeyA", "KeyS", "KeyD", "KeyF", "KeyG", "KeyH", "KeyJ", "KeyK", "KeyL", "Semicolon", "Quote"},
    {"Backslash"},
    {"KeyZ", "KeyX", "KeyC", "KeyV", "KeyB", "KeyN", "KeyM", "Comma", "Period", "Slash"}};
const Layout kLayouts[] = {
    {"us", {u"1234567890-=", u"qwertyuiop[]", u"asdfghjkl;'", u"\\", u"zxcvbnm,./"}},
    {"de", {u"1234567890\u00dfA", u"qwertzuiop\u00fc+", u"asdfghjkl\u00f6\u00e4", u"#", u"yxcvbnm,.-"}},
    {"fr", {u"&\u00e9\"'(-\u00e8_\u00e7\u00e0)=", u"azertyuiopC$", u"qsdfghjklm\u00f9", u"*", u"wxcvbn,;:!"}},
};

using X11KeyTest = X11InputFixture;

TEST_F(X11KeyTest, everyKeyArrivesAtItsPlace) {
  EXPECT_EQ(keycodes().size(), keyCodes().size());
  for (const KeyCode& known : keyCodes()) {
    window_->clear();
    EXPECT_TRUE(key(known.name, true)) << known.name;
    EXPECT_TRUE(key(known.name, false)) << known.name;
    const auto seen = window().keys();
    ASSERT_EQ(seen.size(), 2U) << known.name;
    EXPECT_EQ(std::pair(seen[0].type, seen[0].detail), std::pair(int{XCB_KEY_PRESS}, keycodes().at(known.name)));
    EXPECT_EQ(std::pair(seen[1].type, seen[1].detail), std::pair(int{XCB_KEY_RELEASE}, keycodes().at(known.name)));
  }
}

class X11LayoutTest : public X11InputFixture, public testing::WithParamInterface<Layout> {};

TEST_P(X11LayoutTest, typesWhatItsOwnKeyboardWould) {
  ASSERT_EQ(server_.run({"setxkbmap", GetParam().name}), 0);
  for (int row = 0; row < 5; ++row) {
    const std::u16string expected = GetParam().rows[row];
    ASSERT_EQ(expected.size(), kRows[row].size());
    for (std::size_t column = 0; column < expected.size(); ++column) {
      const std::string& name = kRows[row][column];
      xcb_keysym_t keysym = expected[column];
      if (keysym == u'A') keysym = kDeadAcute;
      if (keysym == u'C') keysym = kDeadCircumflex;
      window_->clear();
      EXPECT_TRUE(key(name.c_str(), true)) << name;
      EXPECT_TRUE(key(name.c_str(), false)) << name;
      const auto seen = window().keys();
      ASSERT_EQ(seen.size(), 2U) << name;
      EXPECT_EQ(window().keysym(seen[0].detail), keysym) << name;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Layouts, X11LayoutTest, testing::ValuesIn(kLayouts),
                         [](const testing::TestParamInfo<Layout>& layout) { return std::string(layout.param.name); });

TEST_F(X11KeyTest, followsTheLayoutWhileItRuns) {
  EXPECT_TRUE(key("KeyZ", true) && key("KeyZ", false));
  EXPECT_EQ(window().keysym(window().keys().back().detail), xcb_keysym_t{u'z'});
  ASSERT_EQ(server_.run({"setxkbmap", "de"}), 0);
  EXPECT_TRUE(key("KeyZ", true) && key("KeyZ", false));
  EXPECT_EQ(window().keysym(window().keys().back().detail), xcb_keysym_t{u'y'});
}

TEST_F(X11KeyTest, releasesAKeyWhereItWasPressed) {
  EXPECT_TRUE(key("KeyZ", true));
  ASSERT_EQ(server_.run({"setxkbmap", "de"}), 0);
  EXPECT_TRUE(key("KeyZ", false));
  EXPECT_TRUE(window().keysDown().empty());
}

// Repetitions come only from the viewer: the server would continue when a release is lost.
class X11RepeatTest : public X11InputFixture {
 protected:
  void SetUp() override {
    X11InputFixture::SetUp();
    ASSERT_EQ(server_.run({"xset", "r", "rate", "30", "100"}), 0);
  }
  std::size_t presses() { return window_->ofType({XCB_KEY_PRESS}).size(); }
};

TEST_F(X11RepeatTest, theServerRepeatsAPersonsKey) {
  window().personKey(kKeyA, true);
  EXPECT_TRUE(window_->waitUntil([this] { return presses() >= 10; }));
  window().personKey(kKeyA, false);
}

TEST_F(X11RepeatTest, aHeldKeyDoesNotRepeatByItself) {
  EXPECT_TRUE(key("KeyA", true));
  settle();
  // Long enough for the server to repeat a key more than ten times, see above.
  EXPECT_FALSE(window_->waitUntil([this] { return presses() > 1; }, testloop::Timeout(std::chrono::milliseconds(300))));
  EXPECT_EQ(presses(), 1U);
}

TEST_F(X11RepeatTest, eachPressOfAHeldKeyIsOneRepetition) {
  for (int repetition = 0; repetition < 5; ++repetition) EXPECT_TRUE(key("KeyA", true));
  settle();
  EXPECT_EQ(presses(), 5U);
  EXPECT_EQ(window().ofType({XCB_KEY_RELEASE}).size(), 4U);
  EXPECT_TRUE(key("KeyA", false));
  EXPECT_EQ(window().ofType({XCB_KEY_RELEASE}).size(), 5U);
  EXPECT_EQ(presses(), 5U);
}

TEST_F(X11RepeatTest, aRepetitionTakesTheModifiersOfItsOwnMessage) {
  EXPECT_TRUE(key("KeyA", true, {.shift = true}));
  EXPECT_TRUE(key("KeyA", true));
  const auto seen = window().ofType({XCB_KEY_PRESS});
  ASSERT_EQ(seen.back().detail, kKeyA);
  EXPECT_EQ(seen.back().state & 0xff, 0);
}

TEST_F(X11RepeatTest, givesThePersonsKeyItsRepetitionBack) {
  EXPECT_TRUE(key("KeyA", true));
  EXPECT_FALSE(window().repeats(kKeyA));
  EXPECT_TRUE(window().repeats(kKeyB));
  EXPECT_TRUE(key("KeyA", false));
  EXPECT_TRUE(window().repeats(kKeyA));
  EXPECT_TRUE(key("KeyA", true));
  input_->releaseAll();
  EXPECT_TRUE(window().repeats(kKeyA));
}

// Applications fetch the whole keyboard map again when a change is reported.
TEST_F(X11RepeatTest, typingIsNoChangeOfTheKeyboardForApplications) {
  xcb_connection_t* connection = window().connection();
  std::free(xcb_xkb_use_extension_reply(connection, xcb_xkb_use_extension(connection, 1, 0), nullptr));
  constexpr std::uint16_t kChanges = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
  xcb_xkb_select_events(connection, XCB_XKB_ID_USE_CORE_KBD, kChanges, 0, kChanges, 0xff, 0xff, nullptr);
  const int xkbEvent = xcb_get_extension_data(connection, &xcb_xkb_id)->first_event;
  EXPECT_TRUE(key("KeyA", true) && key("KeyA", false));  // The first key may make its keyboard the current one.
  window().clear();
  for (int again = 0; again < 10; ++again) EXPECT_TRUE(key("KeyA", true, {.shift = true}) && key("KeyA", false));
  EXPECT_EQ(window().others(xkbEvent), 0);
  ASSERT_EQ(server_.run({"setxkbmap", "de"}), 0);
  EXPECT_GT(window().others(xkbEvent), 0);
}

TEST_F(X11RepeatTest, leavesAKeyAloneThatNeverRepeats) {
  ASSERT_EQ(server_.run({"xset", "-r", "38"}), 0);
  EXPECT_TRUE(key("KeyA", true));
  EXPECT_TRUE(key("KeyA", false));
  EXPECT_FALSE(window().repeats(kKeyA));
}

}  // namespace
}  // namespace vantora::testx11
