#include "tests/x11/input/X11InputFixture.h"

namespace vantora::testx11 {
namespace {

constexpr int kAnyModifier = 0xff;
constexpr int kLock = XCB_MOD_MASK_LOCK;
constexpr int kNum = XCB_MOD_MASK_2;

int maskOf(const KeyModifiers& modifiers) {
  return (modifiers.shift ? XCB_MOD_MASK_SHIFT : 0) | (modifiers.control ? XCB_MOD_MASK_CONTROL : 0) |
         (modifiers.alt ? XCB_MOD_MASK_1 : 0) | (modifiers.meta ? XCB_MOD_MASK_4 : 0);
}

class X11ModifierTest : public X11InputFixture {
 protected:
  // Modifiers that the application saw with the last event of KeyA or KeyB.
  int lastState() {
    int state = -1;
    for (const SeenEvent& event : window().keys()) {
      if (event.detail == kKeyA || event.detail == kKeyB) state = event.state & kAnyModifier;
    }
    return state;
  }
};

TEST_F(X11ModifierTest, showsExactlyTheModifiersOfTheMessage) {
  for (int bits = 0; bits < 16; ++bits) {
    const KeyModifiers modifiers{(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0, (bits & 8) != 0};
    EXPECT_TRUE(key("KeyA", true, modifiers));
    EXPECT_EQ(lastState(), maskOf(modifiers)) << bits;
    EXPECT_TRUE(key("KeyA", false, modifiers));
    EXPECT_EQ(lastState(), maskOf(modifiers)) << bits;
    EXPECT_TRUE(window().keysDown().empty()) << bits;
  }
}

TEST_F(X11ModifierTest, showsTheSuperKeyAloneForMeta) {
  EXPECT_TRUE(key("KeyA", true, {.shift = false, .meta = true}));
  EXPECT_EQ(lastState(), XCB_MOD_MASK_4);
  EXPECT_EQ(window().keysDown(), (std::set<int>{kKeyA, kSuperLeft}));
}

TEST_F(X11ModifierTest, mayDifferBetweenPressAndRelease) {
  EXPECT_TRUE(key("KeyA", true, {.control = true}));
  EXPECT_TRUE(key("KeyA", false));
  EXPECT_EQ(lastState(), 0);
  EXPECT_TRUE(window().keysDown().empty());
}

TEST_F(X11ModifierTest, keepsModifiersWhileTheirKeyIsHeld) {
  EXPECT_TRUE(key("KeyA", true, {.shift = true}));
  EXPECT_EQ(window().keysDown(), (std::set<int>{kKeyA, kShiftLeft}));
  EXPECT_TRUE(key("KeyB", true, {.shift = true}));
  EXPECT_TRUE(key("KeyA", false, {.shift = true}));
  EXPECT_EQ(window().keysDown(), (std::set<int>{kKeyB, kShiftLeft}));
  EXPECT_TRUE(key("KeyB", false, {.shift = true}));
  EXPECT_TRUE(window().keysDown().empty());
}

TEST_F(X11ModifierTest, dropsTheModifierOfAnEarlierMessage) {
  EXPECT_TRUE(key("KeyA", true, {.shift = true}));
  EXPECT_TRUE(key("KeyB", true, {.control = true}));
  EXPECT_EQ(lastState(), XCB_MOD_MASK_CONTROL);
  EXPECT_EQ(window().keysDown(), (std::set<int>{kKeyA, kKeyB, kControlLeft}));
}

TEST_F(X11ModifierTest, releasesAPersonsModifierForTheEventAndRestoresIt) {
  window().personKey(kShiftLeft, true);
  window().personKey(kControlRight, true);
  EXPECT_TRUE(key("KeyA", true));
  EXPECT_EQ(lastState(), 0);
  EXPECT_EQ(window().keysDown(), (std::set<int>{kKeyA, kShiftLeft, kControlRight}));
  EXPECT_TRUE(key("KeyA", false, {.alt = true}));
  EXPECT_EQ(lastState(), XCB_MOD_MASK_1);
  EXPECT_EQ(window().keysDown(), (std::set<int>{kShiftLeft, kControlRight}));
}

TEST_F(X11ModifierTest, borrowsAPersonsModifierWithoutTakingItOver) {
  window().personKey(kShiftRight, true);
  EXPECT_TRUE(key("KeyA", true, {.shift = true}));
  EXPECT_EQ(lastState(), XCB_MOD_MASK_SHIFT);
  EXPECT_EQ(window().keysDown(), (std::set<int>{kKeyA, kShiftRight}));
  EXPECT_TRUE(key("KeyA", false, {.shift = true}));
  EXPECT_EQ(window().keysDown(), (std::set<int>{kShiftRight}));
}

TEST_F(X11ModifierTest, canPressAModifierAgainThatAPersonHasReleased) {
  window().personKey(kShiftLeft, true);
  EXPECT_TRUE(key("KeyA", true));
  EXPECT_TRUE(key("KeyA", false));
  window().personKey(kShiftLeft, false);
  EXPECT_TRUE(key("KeyA", true, {.shift = true}));
  EXPECT_EQ(lastState(), XCB_MOD_MASK_SHIFT);
  EXPECT_TRUE(key("KeyA", false));
  EXPECT_TRUE(window().keysDown().empty());
}

TEST_F(X11ModifierTest, leavesAPersonsModifierDownWhenReleasing) {
  window().personKey(kShiftLeft, true);
  EXPECT_TRUE(key("KeyA", true));
  input_->releaseAll();
  EXPECT_EQ(window().keysDown(), (std::set<int>{kShiftLeft}));
}

TEST_F(X11ModifierTest, hidesCapsLockAndLeavesNumLock) {
  for (const int lockKey : {kCapsLock, kNumLock}) {
    window().personKey(lockKey, true);
    window().personKey(lockKey, false);
  }
  ASSERT_EQ(window().pointer().mask & kAnyModifier, kLock | kNum);
  EXPECT_TRUE(key("KeyA", true, {.shift = true}));
  EXPECT_EQ(lastState(), kNum | XCB_MOD_MASK_SHIFT);
  EXPECT_EQ(window().pointer().mask & (kLock | kNum), kLock | kNum);
  EXPECT_TRUE(key("KeyA", false));
  EXPECT_EQ(lastState(), kNum);
  EXPECT_EQ(window().pointer().mask & kAnyModifier, kLock | kNum);
}

TEST_F(X11ModifierTest, findsControlWhereAPersonHasMovedIt) {
  ASSERT_EQ(server_.run({"setxkbmap", "us", "-option", "ctrl:swapcaps"}), 0);
  EXPECT_TRUE(key("KeyA", true, {.control = true}));
  EXPECT_EQ(lastState(), XCB_MOD_MASK_CONTROL);
  EXPECT_TRUE(key("KeyA", false));
  EXPECT_EQ(window().pointer().mask & kAnyModifier, 0);
  EXPECT_TRUE(window().keysDown().empty());
}

TEST_F(X11ModifierTest, findsAltAndSuperWhereAPersonHasSwappedThem) {
  ASSERT_EQ(server_.run({"setxkbmap", "us", "-option", "altwin:swap_alt_win"}), 0);
  EXPECT_TRUE(key("KeyA", true, {.alt = true}));
  EXPECT_EQ(lastState(), XCB_MOD_MASK_1);
  EXPECT_TRUE(key("KeyA", true, {.meta = true}));
  EXPECT_EQ(lastState(), XCB_MOD_MASK_4);
}

}  // namespace
}  // namespace vantora::testx11
