#include <gtest/gtest.h>

#include "platform/Platform.h"

namespace vantora {
namespace {

void expectNoDesktop(Platform platform) {
  ASSERT_TRUE(platform.displays && platform.input);
  EXPECT_TRUE(platform.displays->list().empty());
  EXPECT_FALSE(platform.input->usable());
  platform.input->postPointer({.type = PointerEventType::leftDown});
  platform.input->postScroll({100, 100});
  EXPECT_FALSE(platform.input->postKey({.name = QStringLiteral("KeyA"), .down = true}));
  platform.input->releaseAll();
}

TEST(Platform, reportsNothingWithoutADisplayServer) {
  expectNoDesktop(makePlatform(Environment::of({})));
  expectNoDesktop(makePlatform(Environment::of({{"DISPLAY", ""}})));
}

TEST(Platform, reportsNothingWhenTheDisplayServerDoesNotAnswer) {
  // Far above the numbers that servers are given.
  expectNoDesktop(makePlatform(Environment::of({{"DISPLAY", ":59999"}})));
  expectNoDesktop(makePlatform(Environment::of({{"DISPLAY", "not a display"}})));
}

}  // namespace
}  // namespace vantora
