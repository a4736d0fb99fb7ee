#include <gtest/gtest.h>

#include <vector>

#include "base/QtScheduler.h"
#include "tests/fakes/EventLoop.h"

using namespace std::chrono_literals;

namespace vantora {
namespace {

using testloop::waitFor;

class QtSchedulerTest : public testing::Test {
 protected:
  QtSchedulerTest() { testloop::ensureApplication(); }
  QtScheduler scheduler_;
};

TEST_F(QtSchedulerTest, runsAOneShotNotBeforeItsTime) {
  const auto begin = scheduler_.monotonicNow();
  std::chrono::nanoseconds end{};
  int runs = 0;
  const auto timer = scheduler_.after(20ms, [&] {
    ++runs;
    end = scheduler_.monotonicNow();
  });
  const auto witness = scheduler_.after(60ms, [] {});
  ASSERT_TRUE(waitFor([&] { return scheduler_.monotonicNow() - begin > 60ms && runs > 0; }));
  EXPECT_EQ(runs, 1);
  // Qt's timers count whole milliseconds.
  EXPECT_GE(end - begin, 19ms);
}

TEST_F(QtSchedulerTest, repeatsWithAFirstDelayOfItsOwn) {
  const auto begin = scheduler_.monotonicNow();
  std::vector<std::chrono::nanoseconds> runs;
  const auto timer = scheduler_.every(1ms, 30ms, [&] { runs.push_back(scheduler_.monotonicNow() - begin); });
  ASSERT_TRUE(waitFor([&] { return runs.size() >= 3; }));
  EXPECT_GE(runs[2] - runs[0], 55ms);
}

TEST_F(QtSchedulerTest, cancelsWhenTheTimerIsDestroyed) {
  bool cancelledRan = false;
  bool done = false;
  auto cancelled = scheduler_.after(1ms, [&] { cancelledRan = true; });
  cancelled.reset();
  const auto later = scheduler_.after(10ms, [&] { done = true; });
  ASSERT_TRUE(waitFor([&] { return done; }));
  EXPECT_FALSE(cancelledRan);
}

TEST_F(QtSchedulerTest, letsACallbackDestroyItsOwnTimer) {
  std::unique_ptr<Timer> timer;
  int runs = 0;
  timer = scheduler_.every(1ms, 1ms, [&] {
    timer.reset();
    ++runs;
  });
  bool done = false;
  const auto later = scheduler_.after(20ms, [&] { done = true; });
  ASSERT_TRUE(waitFor([&] { return done; }));
  EXPECT_EQ(runs, 1);
}

TEST_F(QtSchedulerTest, tellsTheTimeSince1970) {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  EXPECT_LT(std::chrono::abs(scheduler_.unixNow() - now), 5s);
}

}  // namespace
}  // namespace vantora
