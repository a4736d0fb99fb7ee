// Contract tests for every DesktopInput implementation. See DesktopContracts.h.
#pragma once

#include <linux/input-event-codes.h>

#include <cmath>
#include <optional>

#include "tests/contract/DesktopContract.h"

namespace vantora {

class DesktopInputContract : public DesktopContract {
 protected:
  DesktopInput& input() { return session().input(); }
  Display display() { return session().displays().list().front(); }
  InputPermission permission() {
    std::optional<InputPermission> found;
    input().requestPermission([&](const InputPermission& answer) { found = answer; });
    EXPECT_TRUE(found) << "nobody has to be asked here";
    return found.value_or(InputPermission());
  }
  bool key(std::uint16_t code, bool down, KeyModifiers modifiers = {}) { return input().key(code, down, modifiers); }

  // No keyboard has this key.
  static constexpr std::uint16_t kNoSuchKey = 0x2ff;
};

TEST_P(DesktopInputContract, isPermittedOnALivingDesktop) {
  EXPECT_TRUE(permission().granted);
  EXPECT_TRUE(permission().reason.isEmpty());
}

TEST_P(DesktopInputContract, movesThePointerToThePlace) {
  const QRect bounds = display().bounds;
  EXPECT_TRUE(input().moveTo(display().id, 33.0 / bounds.width(), 44.0 / bounds.height()));
  EXPECT_EQ(desktop_->pointerPosition(), QPointF(33, 44));
}

TEST_P(DesktopInputContract, neverLeavesTheDisplay) {
  const QRect bounds = display().bounds;
  EXPECT_TRUE(input().moveTo(display().id, 1, 1));
  EXPECT_EQ(desktop_->pointerPosition(), QPointF(bounds.right(), bounds.bottom()));
  EXPECT_TRUE(input().moveTo(display().id, -5, 1000));
  EXPECT_EQ(desktop_->pointerPosition(), QPointF(0, bounds.bottom()));
  EXPECT_TRUE(input().moveTo(display().id, std::nan(""), 0));
  EXPECT_EQ(desktop_->pointerPosition(), QPointF(0, 0));
}

TEST_P(DesktopInputContract, staysWhereItIsForADisplayThatThereNeverWas) {
  EXPECT_TRUE(input().moveTo(display().id, 0, 0));
  EXPECT_FALSE(input().moveTo(display().id + 12'345, 1, 1));
  EXPECT_EQ(desktop_->pointerPosition(), QPointF(0, 0));
}

TEST_P(DesktopInputContract, assumesADisplayThatWasRemovedAtItsLastPosition) {
  if (!desktop_->keepsPlacesOfDisplays()) GTEST_SKIP() << "the desktop takes positions on the shared displays alone";
  desktop_->split();
  const std::uint32_t second = session().displays().list().back().id;
  desktop_->removeSecond();
  ASSERT_EQ(session().displays().list().size(), 1U);
  EXPECT_TRUE(input().moveTo(second, 0.25, 0.5)) << "it was never pointed at before";
  EXPECT_EQ(desktop_->pointerPosition(), QPointF(700, 300));
}

TEST_P(DesktopInputContract, answersRequestsForPermissionInTheirOrder) {
  std::vector<int> answered;
  for (int request = 0; request < 3; ++request)
    input().requestPermission([&answered, request](const InputPermission&) { answered.push_back(request); });
  EXPECT_TRUE(testloop::waitFor([&] { return answered.size() == 3; }));
  EXPECT_EQ(answered, (std::vector{0, 1, 2}));
}

TEST_P(DesktopInputContract, holdsEachButtonUntilItsOwnRelease) {
  input().button(PointerButton::left, true);
  input().button(PointerButton::right, true);
  input().button(PointerButton::centre, true);
  EXPECT_EQ(desktop_->heldButtons(), (std::set{PointerButton::left, PointerButton::right, PointerButton::centre}));
  input().button(PointerButton::left, false);
  EXPECT_EQ(desktop_->heldButtons(), (std::set{PointerButton::right, PointerButton::centre}));
  input().button(PointerButton::right, false);
  input().button(PointerButton::centre, false);
  EXPECT_TRUE(desktop_->heldButtons().empty());
}

TEST_P(DesktopInputContract, holdsAButtonOnceHoweverOftenItIsPressed) {
  input().button(PointerButton::left, true);
  input().button(PointerButton::left, true);
  input().button(PointerButton::left, false);
  EXPECT_TRUE(desktop_->heldButtons().empty());
}

TEST_P(DesktopInputContract, holdsKeysUntilTheirRelease) {
  EXPECT_TRUE(key(KEY_A, true));
  EXPECT_TRUE(key(KEY_ENTER, true));
  EXPECT_EQ(desktop_->heldKeys(), (std::set<std::uint16_t>{KEY_A, KEY_ENTER}));
  EXPECT_TRUE(key(KEY_A, true));
  EXPECT_TRUE(key(KEY_A, false));
  EXPECT_EQ(desktop_->heldKeys(), std::set<std::uint16_t>{KEY_ENTER});
  EXPECT_TRUE(key(KEY_ENTER, false));
  EXPECT_TRUE(desktop_->heldKeys().empty());
}

TEST_P(DesktopInputContract, takesTheReleaseOfAKeyThatIsNotHeld) {
  EXPECT_TRUE(key(KEY_B, false));
  EXPECT_TRUE(desktop_->heldKeys().empty());
}

TEST_P(DesktopInputContract, saysThatItHasNoSuchKey) {
  EXPECT_FALSE(key(kNoSuchKey, true));
  EXPECT_FALSE(key(kNoSuchKey, false));
}

TEST_P(DesktopInputContract, typesATextInStepsAndHoldsNothingAfterwards) {
  const std::u32string_view text = U"Aab\n bB aA abABab\n\nABabABabABabABab";
  std::size_t taken = 0;
  EXPECT_TRUE(testloop::waitFor([&] {
    const TypingStep step = input().type(text.substr(taken));
    EXPECT_TRUE(step.possible);
    EXPECT_EQ(step.typed, step.taken);
    taken += step.taken;
    return taken >= text.size();
  }));
  EXPECT_EQ(taken, text.size());
  EXPECT_TRUE(desktop_->heldKeys().empty());
}

TEST_P(DesktopInputContract, releasesEverythingAtOnce) {
  input().button(PointerButton::left, true);
  input().button(PointerButton::centre, true);
  EXPECT_TRUE(key(KEY_A, true, {.shift = true, .control = true}));
  EXPECT_TRUE(key(KEY_B, true));
  input().releaseAll();
  EXPECT_TRUE(desktop_->heldButtons().empty());
  EXPECT_TRUE(desktop_->heldKeys().empty());
  EXPECT_TRUE(key(KEY_A, true));
  EXPECT_EQ(desktop_->heldKeys(), std::set<std::uint16_t>{KEY_A});
  input().releaseAll();
}

TEST_P(DesktopInputContract, hasNothingToReleaseAtFirst) {
  input().releaseAll();
  EXPECT_TRUE(desktop_->heldButtons().empty() && desktop_->heldKeys().empty());
}

TEST_P(DesktopInputContract, hasNoEffectOnceTheDesktopIsGone) {
  const std::uint32_t id = display().id;
  desktop_->lose();
  EXPECT_FALSE(permission().granted);
  EXPECT_FALSE(input().moveTo(id, 0.5, 0.5));
  input().button(PointerButton::left, true);
  input().wheel({120, 120});
  EXPECT_FALSE(key(KEY_A, true));
  EXPECT_FALSE(input().type(U"a").possible);
  input().releaseAll();
  EXPECT_FALSE(permission().granted);
}

}  // namespace vantora
