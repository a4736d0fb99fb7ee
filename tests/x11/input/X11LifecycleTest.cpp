#include "platform/Platform.h"
#include "tests/x11/input/X11InputFixture.h"

namespace vantora::testing_x11 {
namespace {

class X11LifecycleTest : public X11InputFixture {
 protected:
  void holdEverything() {
    for (const PointerButton button : {PointerButton::left, PointerButton::centre}) {
      pointer(PointerEventType::leftDown, button);
    }
    pointer(PointerEventType::rightDown, PointerButton::right);
    EXPECT_TRUE(key("KeyA", true));
    EXPECT_TRUE(key("Enter", true, {.shift = true, .control = true, .alt = true, .meta = true}));
  }
  void expectNothingHeld() {
    EXPECT_TRUE(window_->keysDown().empty());
    EXPECT_EQ(window_->pointer().mask, 0);
  }
};

TEST_F(X11LifecycleTest, letsGoOfButtonsKeysAndModifiers) {
  holdEverything();
  EXPECT_EQ(window().keysDown().size(), 6U);
  EXPECT_NE(window().pointer().mask, 0);
  synthesis_->releaseAll();
  settle();
  expectNothingHeld();
}

TEST_F(X11LifecycleTest, letsGoWhenDestroyed) {
  holdEverything();
  settle();
  synthesis_.reset();
  expectNothingHeld();
}

TEST_F(X11LifecycleTest, outlivesAKilledServerAndUsesTheNextOne) {
  holdEverything();
  settle();
  server_.kill();
  for (int again = 0; again < 3; ++again) {
    pointer(PointerEventType::moved, PointerButton::left);
    pointer(PointerEventType::leftDown, PointerButton::left);
    synthesis_->postScroll({120, 120});
    EXPECT_FALSE(key("KeyB", true));
    synthesis_->releaseAll();
    EXPECT_FALSE(synthesis_->usable());
  }
  ASSERT_TRUE(server_.restart());
  window_ = std::make_unique<TestWindow>(server_.display());
  ASSERT_TRUE(window_->alive());
  EXPECT_TRUE(synthesis_->usable());
  expectNothingHeld();
  EXPECT_TRUE(key("KeyA", true));
  const auto seen = window().keys();
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(std::pair(seen[0].type, seen[0].detail), std::pair(int{XCB_KEY_PRESS}, int{kKeyA}));
}

TEST_F(X11LifecycleTest, canBeDestroyedAfterItsServer) {
  holdEverything();
  server_.kill();
  synthesis_.reset();
  SUCCEED();
}

TEST(X11Start, waitsForAServerThatComesLater) {
  XvfbServer server;
  ASSERT_TRUE(server.running());
  const QString display = server.display();
  server.kill();
  const Platform platform = makePlatform(Environment([&](const char*) { return std::optional(display); }));
  EXPECT_FALSE(platform.input->usable());
  EXPECT_TRUE(platform.displays->list().empty());
  ASSERT_TRUE(server.restart());
  EXPECT_TRUE(platform.input->usable());
  EXPECT_EQ(platform.displays->list().size(), 1U);
}

TEST(X11Start, isNotUsableWithoutTheTestExtension) {
  XvfbServer server(320, 200, {"-extension", "XTEST"});
  ASSERT_TRUE(server.running());
  const auto synthesis = makeX11InputSynthesis(server.display());
  EXPECT_FALSE(synthesis->usable());
  synthesis->postPointer({});
  synthesis->postScroll({120, 0});
  EXPECT_FALSE(synthesis->postKey({QStringLiteral("KeyA"), true}));
  synthesis->releaseAll();
}

}  // namespace
}  // namespace vantora::testing_x11
