// Base of the contract tests of a desktop.
#pragma once

#include <gtest/gtest.h>

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

  std::unique_ptr<TestDesktop> desktop_;
};

}  // namespace vantora
