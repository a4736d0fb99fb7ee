#include <gtest/gtest.h>

#include "platform/portal/pipewire/FirstFrameWatch.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;
using Action = FirstFrameWatch::Action;

class FirstFrameWatchTest : public testing::Test {
 protected:
  static FirstFrameWatch::Time at(std::chrono::milliseconds time) {
    return FirstFrameWatch::Time(std::chrono::hours(100) + time);
  }
  FirstFrameWatch watch_;
};

TEST_F(FirstFrameWatchTest, doesNothingWhileNoFrameIsAwaited) {
  EXPECT_EQ(watch_.next(at(0ms), std::nullopt), Action::none);
  EXPECT_EQ(watch_.due(), std::nullopt);
}

TEST_F(FirstFrameWatchTest, restartsTheStreamThenMovesThePointer) {
  EXPECT_EQ(watch_.next(at(0ms), at(0ms)), Action::none);
  EXPECT_EQ(watch_.due(), at(400ms));
  EXPECT_EQ(watch_.next(at(399ms), at(0ms)), Action::none);
  EXPECT_EQ(watch_.next(at(400ms), at(0ms)), Action::restart);
  EXPECT_EQ(watch_.next(at(450ms), at(450ms)), Action::none);
  EXPECT_EQ(watch_.next(at(1449ms), at(450ms)), Action::none);
  EXPECT_EQ(watch_.next(at(1450ms), at(450ms)), Action::nudge);
}

TEST_F(FirstFrameWatchTest, repeatsBothAtABoundedRate) {
  int restarts = 0;
  int nudges = 0;
  auto since = at(0ms);
  for (auto now = 0ms; now < 30s; now += 10ms) {
    const Action action = watch_.next(at(now), since);
    if (action == Action::restart) since = at(now + 50ms);
    restarts += action == Action::restart;
    nudges += action == Action::nudge;
  }
  EXPECT_EQ(restarts, 10);
  EXPECT_EQ(nudges, 10);
}

TEST_F(FirstFrameWatchTest, endsWithTheFrame) {
  EXPECT_EQ(watch_.next(at(0ms), at(0ms)), Action::none);
  EXPECT_EQ(watch_.next(at(500ms), std::nullopt), Action::none);
  EXPECT_EQ(watch_.due(), std::nullopt);
}

}  // namespace
}  // namespace vantora
