// What every InputSynthesis must do, whatever desktop it drives. Include it once in a test program
// for each implementation, and instantiate InputSynthesisContract with a factory of benches.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <set>

#include "platform/InputSynthesis.h"

namespace vantora {

// An implementation and a way to see what became of its desktop. The desktop is at least 200 x
// 100 pixels large and nobody else uses it.
class InputSynthesisBench {
 public:
  virtual ~InputSynthesisBench() = default;
  virtual InputSynthesis& synthesis() = 0;
  virtual QPointF pointerPosition() = 0;
  virtual std::set<PointerButton> heldButtons() = 0;
  // Of the keys "KeyA", "KeyB" and "Enter".
  virtual std::set<QString> heldKeys() = 0;
  // The desktop goes away.
  virtual void lose() = 0;
};

class InputSynthesisContract : public testing::TestWithParam<std::function<std::unique_ptr<InputSynthesisBench>()>> {
 protected:
  void SetUp() override {
    bench_ = GetParam()();
    ASSERT_TRUE(bench_);
  }
  InputSynthesis& synthesis() { return bench_->synthesis(); }
  void pointer(PointerEventType type, PointerButton button, QPointF point = QPointF(20, 10)) {
    synthesis().postPointer({type, point, QRectF(0, 0, 100, 50), button});
  }
  bool key(const char* name, bool down, KeyModifiers modifiers = {}) {
    return synthesis().postKey({QString::fromLatin1(name), down, modifiers});
  }

  std::unique_ptr<InputSynthesisBench> bench_;
};

TEST_P(InputSynthesisContract, isUsableOnALivingDesktop) {
  EXPECT_TRUE(synthesis().usable());
  EXPECT_TRUE(synthesis().refusal().isEmpty());
}

TEST_P(InputSynthesisContract, movesThePointerToThePoint) {
  pointer(PointerEventType::moved, PointerButton::left, QPointF(33, 44));
  EXPECT_EQ(bench_->pointerPosition(), QPointF(33, 44));
}

TEST_P(InputSynthesisContract, neverLeavesTheFrameOfTheEvent) {
  pointer(PointerEventType::moved, PointerButton::left, QPointF(100, 50));
  EXPECT_EQ(bench_->pointerPosition(), QPointF(99, 49));
  pointer(PointerEventType::moved, PointerButton::left, QPointF(-5, 1000));
  EXPECT_EQ(bench_->pointerPosition(), QPointF(0, 49));
}

TEST_P(InputSynthesisContract, holdsEachButtonUntilItsOwnRelease) {
  pointer(PointerEventType::leftDown, PointerButton::left);
  pointer(PointerEventType::rightDown, PointerButton::right);
  EXPECT_EQ(bench_->heldButtons(), (std::set{PointerButton::left, PointerButton::right}));
  pointer(PointerEventType::leftUp, PointerButton::left);
  EXPECT_EQ(bench_->heldButtons(), (std::set{PointerButton::right}));
  pointer(PointerEventType::rightUp, PointerButton::right);
  EXPECT_TRUE(bench_->heldButtons().empty());
}

TEST_P(InputSynthesisContract, tellsTheCentreButtonFromTheLeftInLeftTypeEvents) {
  pointer(PointerEventType::leftDown, PointerButton::centre);
  pointer(PointerEventType::leftDragged, PointerButton::centre);
  EXPECT_EQ(bench_->heldButtons(), (std::set{PointerButton::centre}));
  pointer(PointerEventType::leftUp, PointerButton::centre);
  EXPECT_TRUE(bench_->heldButtons().empty());
}

TEST_P(InputSynthesisContract, holdsAButtonOnceHoweverOftenItIsPressed) {
  pointer(PointerEventType::leftDown, PointerButton::left);
  pointer(PointerEventType::leftDown, PointerButton::left);
  pointer(PointerEventType::leftUp, PointerButton::left);
  EXPECT_TRUE(bench_->heldButtons().empty());
}

TEST_P(InputSynthesisContract, holdsKeysUntilTheirRelease) {
  EXPECT_TRUE(key("KeyA", true));
  EXPECT_TRUE(key("Enter", true));
  EXPECT_EQ(bench_->heldKeys(), (std::set{QStringLiteral("KeyA"), QStringLiteral("Enter")}));
  EXPECT_TRUE(key("KeyA", true));
  EXPECT_TRUE(key("KeyA", false));
  EXPECT_EQ(bench_->heldKeys(), std::set{QStringLiteral("Enter")});
  EXPECT_TRUE(key("Enter", false));
  EXPECT_TRUE(bench_->heldKeys().empty());
}

TEST_P(InputSynthesisContract, takesTheReleaseOfAKeyThatIsNotHeld) {
  EXPECT_TRUE(key("KeyB", false));
  EXPECT_TRUE(bench_->heldKeys().empty());
}

TEST_P(InputSynthesisContract, saysThatItHasNoSuchKey) {
  EXPECT_FALSE(key("NoSuchKey", true));
  EXPECT_FALSE(key("NoSuchKey", false));
}

TEST_P(InputSynthesisContract, releasesEverythingAtOnce) {
  pointer(PointerEventType::leftDown, PointerButton::left);
  pointer(PointerEventType::leftDown, PointerButton::centre);
  EXPECT_TRUE(key("KeyA", true, {.shift = true, .control = true}));
  EXPECT_TRUE(key("KeyB", true));
  synthesis().releaseAll();
  EXPECT_TRUE(bench_->heldButtons().empty());
  EXPECT_TRUE(bench_->heldKeys().empty());
  EXPECT_TRUE(key("KeyA", true));
  EXPECT_EQ(bench_->heldKeys(), std::set{QStringLiteral("KeyA")});
  synthesis().releaseAll();
}

TEST_P(InputSynthesisContract, hasNothingToReleaseAtFirst) {
  synthesis().releaseAll();
  EXPECT_TRUE(bench_->heldButtons().empty() && bench_->heldKeys().empty());
}

TEST_P(InputSynthesisContract, hasNoEffectOnceTheDesktopIsGone) {
  bench_->lose();
  EXPECT_FALSE(synthesis().usable());
  pointer(PointerEventType::leftDown, PointerButton::left);
  synthesis().postScroll({120, 120});
  EXPECT_FALSE(key("KeyA", true));
  synthesis().releaseAll();
  EXPECT_FALSE(synthesis().usable());
}

}  // namespace vantora
