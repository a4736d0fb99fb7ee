#include "platform/DesktopChoice.h"
#include "tests/fakes/FakeClipboard.h"
#include "tests/x11/input/X11InputFixture.h"

namespace vantora::testx11 {
namespace {

class X11LifecycleTest : public X11InputFixture {
 protected:
  void holdEverything() {
    for (const PointerButton button : {PointerButton::left, PointerButton::centre}) {
      press(button);
    }
    press(PointerButton::right);
    EXPECT_TRUE(key("KeyA", true));
    EXPECT_TRUE(key("Enter", true, {.shift = true, .control = true, .alt = true, .meta = true}));
  }
  void expectNothingHeld() {
    EXPECT_TRUE(window_->keysDown().empty());
    EXPECT_EQ(window_->pointer().mask, 0);
  }
};

TEST_F(X11LifecycleTest, releasesButtonsKeysAndModifiers) {
  holdEverything();
  EXPECT_EQ(window().keysDown().size(), 6U);
  EXPECT_NE(window().pointer().mask, 0);
  input_->releaseAll();
  settle();
  expectNothingHeld();
}

TEST_F(X11LifecycleTest, releasesEverythingWhenDestroyed) {
  holdEverything();
  settle();
  input_.reset();
  expectNothingHeld();
}

TEST_F(X11LifecycleTest, outlivesAKilledServerAndUsesTheNextOne) {
  holdEverything();
  settle();
  server_.kill();
  for (int again = 0; again < 3; ++again) {
    move();
    press(PointerButton::left);
    input_->wheel({120, 120});
    EXPECT_FALSE(key("KeyB", true));
    input_->releaseAll();
    EXPECT_FALSE(usable());
  }
  ASSERT_TRUE(server_.restart());
  window_ = std::make_unique<TestWindow>(server_.display());
  ASSERT_TRUE(window_->alive());
  EXPECT_TRUE(usable());
  expectNothingHeld();
  EXPECT_TRUE(key("KeyA", true));
  const auto seen = window().keys();
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(std::pair(seen[0].type, seen[0].detail), std::pair(int{XCB_KEY_PRESS}, int{kKeyA}));
}

TEST_F(X11LifecycleTest, canBeDestroyedAfterItsServer) {
  holdEverything();
  server_.kill();
  input_.reset();
  SUCCEED();
}

TEST(X11Start, waitsForAServerThatComesLater) {
  XvfbServer server;
  ASSERT_TRUE(server.running());
  const QString display = server.display();
  server.kill();
  fakes::FakeClipboard clipboard;
  const QByteArray name = display.toLatin1();
  const auto desktop = makeDesktopSession(Environment::of({{"DISPLAY", name.constData()}}), clipboard);
  EXPECT_FALSE(usable(desktop->input()));
  EXPECT_TRUE(desktop->displays().list().empty());
  ASSERT_TRUE(server.restart());
  EXPECT_TRUE(usable(desktop->input()));
  EXPECT_EQ(desktop->displays().list().size(), 1U);
}

TEST(X11Start, isNotUsableWithoutTheTestExtension) {
  XvfbServer server(320, 200, {"-extension", "XTEST"});
  ASSERT_TRUE(server.running());
  const auto displays = makeX11Displays(server.display());
  const auto input = makeX11Input(server.display(), *displays);
  EXPECT_FALSE(usable(*input));
  input->moveTo(displays->list().front().id, 0, 0);
  input->button(PointerButton::left, true);
  input->wheel({120, 0});
  EXPECT_FALSE(input->key(keyCodeOf("KeyA"), true, {}));
  input->releaseAll();
}

}  // namespace
}  // namespace vantora::testx11
