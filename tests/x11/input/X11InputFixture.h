// A real server, an application on it and the input under test.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "main/control/input/KeyCodes.h"
#include "platform/x11/X11Displays.h"
#include "platform/x11/X11Input.h"
#include "tests/fakes/FakeDesktopInput.h"
#include "tests/x11/support/TestWindow.h"
#include "tests/x11/support/XvfbServer.h"

namespace vantora::testx11 {

// Keycodes of the usual PC keyboard.
inline constexpr int kKeyA = 38;
inline constexpr int kKeyB = 56;
inline constexpr int kEnter = 36;
inline constexpr int kCapsLock = 66;
inline constexpr int kNumLock = 77;
inline constexpr int kShiftLeft = 50;
inline constexpr int kShiftRight = 62;
inline constexpr int kControlLeft = 37;
inline constexpr int kControlRight = 105;
inline constexpr int kAltLeft = 64;
inline constexpr int kSuperLeft = 133;

// Whether the input may be used at the moment; on X11 the reply is immediate.
inline InputPermission permission(DesktopInput& input) {
  InputPermission found;
  input.requestPermission([&](const InputPermission& answer) { found = answer; });
  return found;
}
inline bool usable(DesktopInput& input) { return permission(input).granted; }

// The kernel's code of the viewer's key `name`; for unknown names a code that no keyboard has.
inline std::uint16_t keyCodeOf(const char* name) {
  return pressableKey(QString::fromLatin1(name)).value_or(fakes::FakeDesktopInput::kNoSuchKey);
}

class X11InputFixture : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.running());
    window_ = std::make_unique<TestWindow>(server_.display());
    ASSERT_TRUE(window_->alive());
    displays_ = makeX11Displays(server_.display());
    input_ = makeX11Input(server_.display(), *displays_);
    ASSERT_TRUE(usable());
    ASSERT_EQ(displays_->list().size(), 1U);
  }

  TestWindow& window() {
    settle();
    return *window_;
  }
  bool usable() { return testx11::usable(*input_); }
  // Waits until the server has processed everything that was posted.
  void settle() {
    if (!input_) return;
    EXPECT_TRUE(usable());
  }

  bool key(const char* name, bool down, KeyModifiers modifiers = {}) {
    return input_->key(keyCodeOf(name), down, modifiers);
  }
  // Moves to a pixel of the screen, which has one monitor.
  void move(double x = 10, double y = 10) {
    const std::vector<Display> displays = displays_->list();
    if (displays.empty()) {
      input_->moveTo(0, 0, 0);
      return;
    }
    const QRect& bounds = displays.front().bounds;
    input_->moveTo(displays.front().id, (x + 0.5 - bounds.x()) / bounds.width(),
                   (y + 0.5 - bounds.y()) / bounds.height());
  }
  void press(PointerButton button, double x = 10, double y = 10) {
    move(x, y);
    input_->button(button, true);
  }
  void release(PointerButton button, double x = 10, double y = 10) {
    move(x, y);
    input_->button(button, false);
  }

  XvfbServer server_{1024, 768};
  std::unique_ptr<TestWindow> window_;
  std::unique_ptr<Displays> displays_;
  std::unique_ptr<DesktopInput> input_;
};

}  // namespace vantora::testx11
