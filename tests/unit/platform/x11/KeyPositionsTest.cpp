#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <set>
#include <string>

#include "main/control/input/KeyCodes.h"
#include "platform/x11/KeyPositions.h"

namespace vantora {
namespace {

TEST(KeyPositions, hasOnePlaceForEveryKeyOfTheTable) {
  std::set<std::string> places;
  for (const KeyCode& key : keyCodes()) {
    const std::string_view place = xkbKeyName(key.evdev);
    EXPECT_FALSE(place.empty()) << key.name;
    EXPECT_LE(place.size(), 4U) << key.name;
    EXPECT_TRUE(places.emplace(place).second) << key.name;
  }
  for (const PressableKey& key : furtherKeys()) {
    const std::string_view place = xkbKeyName(key.evdev);
    EXPECT_TRUE(!place.empty() && place.size() <= 4) << key.name;
    EXPECT_TRUE(places.emplace(place).second) << key.name;
  }
}

TEST(KeyPositions, countsRowsFromTheSpaceBarAndKeysFromTheLeft) {
  EXPECT_EQ(xkbKeyName(KEY_A), "AC01");
  EXPECT_EQ(xkbKeyName(KEY_Z), "AB01");
  EXPECT_EQ(xkbKeyName(KEY_P), "AD10");
  EXPECT_EQ(xkbKeyName(KEY_1), "AE01");
  EXPECT_EQ(xkbKeyName(KEY_0), "AE10");
  EXPECT_EQ(xkbKeyName(KEY_MINUS), "AE11");
  EXPECT_EQ(xkbKeyName(KEY_LEFTBRACE), "AD11");
  EXPECT_EQ(xkbKeyName(KEY_SEMICOLON), "AC10");
  EXPECT_EQ(xkbKeyName(KEY_SLASH), "AB10");
}

TEST(KeyPositions, hasNoPlaceForOtherKeys) {
  EXPECT_EQ(xkbKeyName(KEY_POWER), "");
  EXPECT_EQ(xkbKeyName(KEY_RESERVED), "");
  EXPECT_EQ(xkbKeyName(0xffff), "");
}

}  // namespace
}  // namespace vantora
