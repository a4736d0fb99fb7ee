#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "main/control/input/KeyCodes.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

TEST(KeyCodes, holdsExactlyTheKeysOfTheTable) {
  std::map<std::string, int> expected = {
      {"Enter", 36},     {"NumpadEnter", 36}, {"Escape", 53},      {"Tab", 48},          {"Backspace", 51},
      {"Space", 49},     {"ArrowLeft", 123},  {"ArrowRight", 124}, {"ArrowDown", 125},   {"ArrowUp", 126},
      {"Equal", 24},     {"Minus", 27},       {"BracketLeft", 33}, {"BracketRight", 30}, {"Quote", 39},
      {"Semicolon", 41}, {"Backslash", 42},   {"Comma", 43},       {"Slash", 44},        {"Period", 47},
  };
  const auto add = [&expected](const std::string& prefix, const std::string& keys, std::initializer_list<int> codes) {
    ASSERT_EQ(keys.size(), codes.size());
    auto code = codes.begin();
    for (const char key : keys) expected[prefix + key] = *code++;
  };
  add("Key", "ABCDEFGHIJKLM", {0, 11, 8, 2, 14, 3, 5, 4, 34, 38, 40, 37, 46});
  add("Key", "NOPQRSTUVWXYZ", {45, 31, 35, 12, 15, 1, 17, 32, 9, 13, 7, 16, 6});
  add("Digit", "0123456789", {29, 18, 19, 20, 21, 23, 22, 26, 28, 25});

  std::map<std::string, int> actual;
  for (const KeyCode& key : keyCodes()) EXPECT_TRUE(actual.emplace(key.name, key.code).second) << key.name;
  EXPECT_EQ(actual, expected);
}

TEST(KeyCodes, findsEveryKeyByItsName) {
  for (const KeyCode& key : keyCodes()) EXPECT_EQ(findKey(QString::fromLatin1(key.name)), &key) << key.name;
}

// The kernel's codes on a US keyboard.
TEST(KeyCodes, numbersPositionsAsTheKernelDoes) {
  const std::pair<const char*, int> cases[] = {{"Enter", 28},      {"NumpadEnter", 96}, {"Escape", 1}, {"KeyA", 30},
                                               {"KeyQ", 16},       {"KeyZ", 44},        {"Digit1", 2}, {"Digit0", 11},
                                               {"ArrowLeft", 105}, {"BracketLeft", 26}, {"Quote", 40}, {"Period", 52}};
  for (const auto& [name, code] : cases) EXPECT_EQ(findKey(QString::fromLatin1(name))->evdev, code) << name;
  std::set<int> codes;
  for (const KeyCode& key : keyCodes()) EXPECT_TRUE(codes.insert(key.evdev).second) << key.name;
}

TEST(KeyCodes, matchesNamesExactly) {
  for (const auto& name : {u"keya"_s, u"KEYA"_s, u"KeyA "_s, u" KeyA"_s, u"A"_s, u"a"_s, u""_s, u"Key"_s, u"enter"_s}) {
    EXPECT_EQ(findKey(name), nullptr) << name.toStdString();
  }
}

TEST(KeyCodes, knowsNoFunctionEditingModifierOrKeypadKeys) {
  for (const auto& name :
       {u"F1"_s,       u"F5"_s,        u"F12"_s,       u"Delete"_s,     u"Home"_s,        u"End"_s,     u"PageUp"_s,
        u"PageDown"_s, u"Backquote"_s, u"ShiftLeft"_s, u"ShiftRight"_s, u"ControlLeft"_s, u"AltLeft"_s, u"AltRight"_s,
        u"MetaLeft"_s, u"CapsLock"_s,  u"Numpad0"_s,   u"Numpad9"_s,    u"NumpadAdd"_s,   u"Insert"_s}) {
    EXPECT_EQ(findKey(name), nullptr) << name.toStdString();
  }
}

TEST(KeyCodes, furtherKeysCanOnlyBePressed) {
  std::set<int> codes;
  for (const PressableKey& key : furtherKeys()) {
    const QString name = QString::fromLatin1(key.name);
    EXPECT_EQ(findKey(name), nullptr) << key.name;
    EXPECT_EQ(pressableKey(name), key.evdev) << key.name;
    EXPECT_TRUE(codes.insert(key.evdev).second) << key.name;
  }
  for (const KeyCode& key : keyCodes()) {
    EXPECT_EQ(pressableKey(QString::fromLatin1(key.name)), key.evdev) << key.name;
    EXPECT_FALSE(codes.contains(key.evdev)) << key.name;
  }
  EXPECT_EQ(pressableKey(u"F5"_s), 63);
  EXPECT_EQ(pressableKey(u"Delete"_s), 111);
  EXPECT_EQ(pressableKey(u"MetaLeft"_s), 125);
  for (const auto& name : {u"f5"_s, u"F25"_s, u"ShiftLeft"_s, u"ControlLeft"_s, u"AltRight"_s, u"Power"_s, u""_s}) {
    EXPECT_EQ(pressableKey(name), std::nullopt) << name.toStdString();
  }
}

}  // namespace
}  // namespace vantora
