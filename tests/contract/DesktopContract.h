// Base of the contract tests of a desktop.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>

#include "tests/contract/TestDesktop.h"
#include "tests/fakes/EventLoop.h"

namespace vantora {

class DesktopContract : public testing::TestWithParam<std::function<std::unique_ptr<TestDesktop>()>> {
 protected:
  static constexpr int kWidth = 1000;
  static constexpr int kHeight = 600;

  void SetUp() override {
    testloop::ensureApplication();
    desktop_ = GetParam()();
    ASSERT_TRUE(desktop_);
  }
  DesktopSession& session() { return desktop_->session(); }
  // Opens the capture, as often as the desktop decides about it.
  static ScreenCapture::Opened openWhenDecided(ScreenCapture& capture, int index) {
    ScreenCapture::Opened opened = capture.open(index);
    while (opened.outcome == ScreenCapture::Outcome::awaitingConsent) {
      const auto decided = [&] {
        return capture.wait(std::chrono::milliseconds(1), ScreenCapture::WakeOn::changeOrCall) ==
               ScreenCapture::Woken::change;
      };
      if (!testloop::waitFor(decided)) break;
      opened = capture.open(index);
    }
    return opened;
  }
  // Polls until that comes of it; other results are passed over.
  [[nodiscard]] static bool pollUntil(ScreenCapture& capture, CapturedFrame& frame, ScreenCapture::Poll wanted) {
    testloop::Timeout timeout;
    while (!timeout.isOver()) {
      if (capture.poll(frame) == wanted) return true;
      (void)capture.wait(std::chrono::milliseconds(100), ScreenCapture::WakeOn::changeOrCall);
      testloop::drain();  // The session may have to tell the capture.
    }
    return false;
  }

  std::unique_ptr<TestDesktop> desktop_;
};

}  // namespace vantora
