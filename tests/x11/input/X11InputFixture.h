// A real server, an application on it and the input under test.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "platform/x11/X11InputSynthesis.h"
#include "tests/x11/support/TestWindow.h"
#include "tests/x11/support/XvfbServer.h"

namespace vantora::testing_x11 {

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

class X11InputFixture : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.running());
    window_ = std::make_unique<TestWindow>(server_.display());
    ASSERT_TRUE(window_->alive());
    synthesis_ = makeX11InputSynthesis(server_.display());
    ASSERT_TRUE(synthesis_->usable());
  }

  TestWindow& window() {
    settle();
    return *window_;
  }
  // Until the server has done everything that was posted.
  void settle() {
    if (!synthesis_) return;
    EXPECT_TRUE(synthesis_->usable());
  }

  bool key(const char* name, bool down, KeyModifiers modifiers = {}) {
    return synthesis_->postKey({QString::fromLatin1(name), down, modifiers});
  }
  void pointer(PointerEventType type, PointerButton button, double x = 10, double y = 10) {
    synthesis_->postPointer({type, QPointF(x, y), QRectF(0, 0, 1024, 768), button});
  }

  XvfbServer server_{1024, 768};
  std::unique_ptr<TestWindow> window_;
  std::unique_ptr<InputSynthesis> synthesis_;
};

}  // namespace vantora::testing_x11
