// The fake scheduler must behave like the real one, or the tests that depend on it prove little.
#include <gtest/gtest.h>

#include <string>

#include "tests/fakes/FakeScheduler.h"

using namespace std::chrono_literals;

namespace vantora {
namespace {

class FakeSchedulerTest : public testing::Test {
 protected:
  Scheduler::Callback note(char name) {
    return [this, name] { order_ += name; };
  }
  fakes::FakeScheduler scheduler_;
  std::string order_;
};

TEST_F(FakeSchedulerTest, runsAOneShotOnceWhenDue) {
  const auto timer = scheduler_.after(10ms, note('a'));
  scheduler_.advance(9ms);
  EXPECT_EQ(order_, "");
  scheduler_.advance(1ms);
  EXPECT_EQ(order_, "a");
  scheduler_.advance(1h);
  EXPECT_EQ(order_, "a");
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

TEST_F(FakeSchedulerTest, repeatsWithAFirstDelayOfItsOwn) {
  const auto timer = scheduler_.every(5ms, 10ms, note('a'));
  scheduler_.advance(5ms);
  EXPECT_EQ(order_, "a");
  scheduler_.advance(30ms);
  EXPECT_EQ(order_, "aaaa");
}

TEST_F(FakeSchedulerTest, runsTimersInTheOrderTheyComeDue) {
  const auto late = scheduler_.after(20ms, note('c'));
  const auto early = scheduler_.after(10ms, note('a'));
  const auto sameTime = scheduler_.after(10ms, note('b'));
  scheduler_.advance(1s);
  EXPECT_EQ(order_, "abc");
}

TEST_F(FakeSchedulerTest, showsTheDueTimeInsideACallback) {
  std::chrono::nanoseconds seen{};
  const auto timer = scheduler_.after(10ms, [&] { seen = scheduler_.monotonicNow(); });
  scheduler_.advance(1s);
  EXPECT_EQ(seen, 10ms);
  EXPECT_EQ(scheduler_.monotonicNow(), 1s);
}

TEST_F(FakeSchedulerTest, cancelsWhenTheTimerIsDestroyed) {
  auto timer = scheduler_.after(10ms, note('a'));
  timer.reset();
  scheduler_.advance(1s);
  EXPECT_EQ(order_, "");
}

TEST_F(FakeSchedulerTest, letsACallbackDestroyItsOwnTimer) {
  std::unique_ptr<Timer> timer;
  int runs = 0;
  timer = scheduler_.every(10ms, 10ms, [&] {
    ++runs;
    timer.reset();
  });
  scheduler_.advance(1s);
  EXPECT_EQ(runs, 1);
}

TEST_F(FakeSchedulerTest, runsWhatACallbackStarts) {
  std::unique_ptr<Timer> second;
  const auto first = scheduler_.after(10ms, [&] { second = scheduler_.after(10ms, note('b')); });
  scheduler_.advance(19ms);
  EXPECT_EQ(order_, "");
  scheduler_.advance(1ms);
  EXPECT_EQ(order_, "b");
}

TEST_F(FakeSchedulerTest, letsATimerOutliveTheScheduler) {
  auto scheduler = std::make_unique<fakes::FakeScheduler>();
  const auto timer = scheduler->after(10ms, note('a'));
  scheduler.reset();
  EXPECT_EQ(order_, "");
}

TEST_F(FakeSchedulerTest, movesBothClocksTogether) {
  scheduler_.setUnixBase(std::chrono::seconds(978307200));
  scheduler_.advance(1500ms);
  EXPECT_EQ(scheduler_.unixMilliseconds(), 978307201500);
  EXPECT_DOUBLE_EQ(scheduler_.absoluteSeconds(), 1.5);
}

}  // namespace
}  // namespace vantora
