#include <gtest/gtest.h>

#include "platform/ModifierPlan.h"

namespace vantora {
namespace {

constexpr Keycode kShift = 50;
constexpr Keycode kRightShift = 62;
constexpr Keycode kControl = 37;
constexpr Keycode kAlt = 64;
constexpr Keycode kSuper = 133;
constexpr Keycode kAltGr = 108;

const ModifierTable kTable = {{{kShift, {kShift, kRightShift}},
                               {kControl, {kControl}},
                               {kAlt, {kAlt}},
                               {kSuper, {kSuper}},
                               {kAltGr, {kAltGr, 92}}}};

Keymap keys(std::initializer_list<Keycode> list) {
  Keymap map;
  for (const Keycode key : list) map[key] = true;
  return map;
}

TEST(ModifierPlan, needsNothingForABareKey) { EXPECT_EQ(planModifiers(kTable, {}, {}, {}), ModifierPlan{}); }

TEST(ModifierPlan, pressesEveryMissingModifier) {
  const KeyModifiers all{.shift = true, .control = true, .alt = true, .meta = true, .altgr = true};
  EXPECT_EQ(planModifiers(kTable, all, {}, {}), (ModifierPlan{{}, {kShift, kControl, kAlt, kSuper, kAltGr}, {}}));
}

TEST(ModifierPlan, releasesThePersonsAltGrAndRestoresIt) {
  EXPECT_EQ(planModifiers(kTable, {}, keys({kAltGr}), {}), (ModifierPlan{{kAltGr}, {}, {kAltGr}}));
  EXPECT_EQ(planModifiers(kTable, {.altgr = true}, keys({92}), {}), ModifierPlan{});
}

TEST(ModifierPlan, leavesTheKeyOfTheEventAlone) {
  EXPECT_EQ(planModifiers(kTable, {}, keys({kSuper, kShift}), {}, kSuper), (ModifierPlan{{kShift}, {}, {kShift}}));
  EXPECT_EQ(planModifiers(kTable, {.alt = true, .meta = true}, {}, {}, kSuper), (ModifierPlan{{}, {kAlt}, {}}));
}

TEST(ModifierPlan, keepsItsOwnModifierWhileItIsWanted) {
  EXPECT_EQ(planModifiers(kTable, {.shift = true}, keys({kShift}), keys({kShift})), ModifierPlan{});
}

TEST(ModifierPlan, dropsItsOwnModifierForGood) {
  EXPECT_EQ(planModifiers(kTable, {}, keys({kShift}), keys({kShift})), (ModifierPlan{{kShift}, {}, {}}));
}

TEST(ModifierPlan, borrowsTheModifierThatAPersonHolds) {
  EXPECT_EQ(planModifiers(kTable, {.shift = true}, keys({kRightShift}), {}), ModifierPlan{});
}

TEST(ModifierPlan, releasesAPersonsModifiersAndRestoresThem) {
  EXPECT_EQ(planModifiers(kTable, {.alt = true}, keys({kShift, kRightShift, kControl}), {}),
            (ModifierPlan{{kShift, kRightShift, kControl}, {kAlt}, {kShift, kRightShift, kControl}}));
}

TEST(ModifierPlan, pressesAgainWhatSomebodyElseReleased) {
  EXPECT_EQ(planModifiers(kTable, {.shift = true}, {}, keys({kShift})), (ModifierPlan{{}, {kShift}, {}}));
}

TEST(ModifierPlan, leavesOtherKeysAlone) {
  EXPECT_EQ(planModifiers(kTable, {}, keys({38, 66, 77, 107}), {}), ModifierPlan{});
}

TEST(ModifierPlan, doesWithoutAModifierThatTheKeyboardLacks) {
  EXPECT_EQ(planModifiers({}, {.shift = true, .meta = true}, {}, {}), ModifierPlan{});
}

}  // namespace
}  // namespace vantora
