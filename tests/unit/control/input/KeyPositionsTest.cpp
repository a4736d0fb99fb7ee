#include <gtest/gtest.h>

#include <set>
#include <string>

#include "main/control/input/KeyCodes.h"
#include "platform/x11/KeyPositions.h"

namespace vantora {
namespace {

TEST(KeyPositions, hasOnePlaceForEveryKeyOfTheTable) {
  std::set<std::string> places;
  for (const KeyCode& key : keyCodes()) {
    const std::string_view place = xkbKeyName(QString::fromLatin1(key.name));
    EXPECT_FALSE(place.empty()) << key.name;
    EXPECT_LE(place.size(), 4U) << key.name;
    EXPECT_TRUE(places.emplace(place).second) << key.name;
  }
}

TEST(KeyPositions, countsRowsFromTheSpaceBarAndKeysFromTheLeft) {
  EXPECT_EQ(xkbKeyName(u"KeyA"), "AC01");
  EXPECT_EQ(xkbKeyName(u"KeyZ"), "AB01");
  EXPECT_EQ(xkbKeyName(u"KeyP"), "AD10");
  EXPECT_EQ(xkbKeyName(u"Digit1"), "AE01");
  EXPECT_EQ(xkbKeyName(u"Digit0"), "AE10");
  EXPECT_EQ(xkbKeyName(u"Minus"), "AE11");
  EXPECT_EQ(xkbKeyName(u"BracketLeft"), "AD11");
  EXPECT_EQ(xkbKeyName(u"Semicolon"), "AC10");
  EXPECT_EQ(xkbKeyName(u"Slash"), "AB10");
}

TEST(KeyPositions, hasNoPlaceForOtherNames) {
  EXPECT_EQ(xkbKeyName(u"F5"), "");
  EXPECT_EQ(xkbKeyName(u"keya"), "");
  EXPECT_EQ(xkbKeyName(u""), "");
}

}  // namespace
}  // namespace vantora
