#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon.h>

#include <QByteArray>
#include <cstdlib>

#include "platform/KeyLayout.h"

namespace vantora {
namespace {

using Stroke = KeyLayout::Stroke;

// As a compositor would send it.
QByteArray keymapOf(const char* layouts, const char* options = "") {
  xkb_context* const context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
  const xkb_rule_names names{.rules = "evdev", .model = "pc105", .layout = layouts, .variant = "", .options = options};
  xkb_keymap* const keymap = xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
  char* const text = xkb_keymap_get_as_string(keymap, XKB_KEYMAP_FORMAT_TEXT_V1);
  QByteArray result(text);
  std::free(text);
  xkb_keymap_unref(keymap);
  xkb_context_unref(context);
  return result;
}
KeyLayout layout(const char* layouts, const char* options = "") {
  const auto parsed = KeyLayout::parse(keymapOf(layouts, options));
  EXPECT_TRUE(parsed) << layouts;
  return parsed.value_or(KeyLayout());
}

TEST(KeyLayout, knowsTheKeysOfEachCharacter) {
  const KeyLayout us = layout("us");
  EXPECT_EQ(us.find(U'a'), (Stroke{KEY_A}));
  EXPECT_EQ(us.find(U'A'), (Stroke{KEY_A, true}));
  EXPECT_EQ(us.find(U'@'), (Stroke{KEY_2, true}));
  EXPECT_EQ(us.find(U' '), (Stroke{KEY_SPACE}));
  EXPECT_EQ(us.find(U'ä'), std::nullopt);
  EXPECT_FALSE(us.has(U'ä'));
  const KeyLayout de = layout("de");
  EXPECT_EQ(de.find(U'z'), (Stroke{KEY_Y}));
  EXPECT_EQ(de.find(U'@'), (Stroke{KEY_Q, false, true}));
  EXPECT_EQ(de.find(U'€'), (Stroke{KEY_E, false, true}));
  EXPECT_EQ(de.find(U'ẞ'), (Stroke{KEY_S, true, true}));
  EXPECT_EQ(de.find(U'^'), std::nullopt) << "a dead key";
  const KeyLayout fr = layout("fr");
  EXPECT_EQ(fr.find(U'1'), (Stroke{KEY_1, true})) << "not the keypad's";
  EXPECT_EQ(fr.find(U'{'), (Stroke{KEY_4, false, true}));
}

TEST(KeyLayout, findsTheKeyOfTheThirdLevel) {
  EXPECT_EQ(layout("de").altgrKey(), KEY_RIGHTALT);
  EXPECT_EQ(layout("de", "lv3:ralt_alt,lv3:switch").altgrKey(), KEY_RIGHTCTRL);
  // No key of a keyboard, but one of the map.
  EXPECT_EQ(layout("us").altgrKey(), 84);
}

// Nobody can press it: what it would shift to is not typed at all.
TEST(KeyLayout, leavesOutAThirdLevelWhoseKeyIsBeyondTheHighest) {
  QByteArray map = keymapOf("de");
  for (const QByteArray& key : {QByteArray("<RALT>"), QByteArray("<LVL3>")}) {
    const qsizetype from = map.indexOf(key + " ");
    const qsizetype to = map.indexOf(';', from);
    ASSERT_GT(from, 0);
    map.replace(from, to - from, key + (key == "<RALT>" ? " = 356" : " = 357"));
  }
  const auto layout = KeyLayout::parse(map);
  ASSERT_TRUE(layout);
  EXPECT_EQ(layout->altgrKey(), 0);
  EXPECT_EQ(layout->find(U'@'), std::nullopt);
  EXPECT_EQ(layout->find(U'z'), (Stroke{KEY_Y}));
}

// Which of them is in use is not known.
TEST(KeyLayout, isSureOfWhatAllLayoutsHaveInOnePlace) {
  const KeyLayout both = layout("us,de");
  EXPECT_EQ(both.find(U'a'), (Stroke{KEY_A}));
  for (const char32_t character : U"zyä@-") {
    if (character == 0) break;
    EXPECT_EQ(both.find(character), std::nullopt);
    EXPECT_TRUE(both.has(character));
  }
  EXPECT_FALSE(both.has(U'ж'));
  EXPECT_EQ(both.altgrKey(), KEY_RIGHTALT);
}

TEST(KeyLayout, hasCharactersOnKeysThatOnlyTheDesktopPresses) {
  const KeyLayout us = layout("us");
  EXPECT_EQ(us.find(U'€'), std::nullopt);
  EXPECT_TRUE(us.has(U'€'));
}

TEST(KeyLayout, refusesWhatIsNoKeymap) {
  for (const QByteArray& text :
       {QByteArray(), QByteArray("xkb_keymap {"), QByteArray(1000, '\0'), QByteArray("\xff{};")})
    EXPECT_FALSE(KeyLayout::parse(text));
  EXPECT_FALSE(KeyLayout::parse(keymapOf("us").left(5000)));
}

}  // namespace
}  // namespace vantora
