#include <gtest/gtest.h>

#include <vector>

#include "main/video/sources/TickSchedule.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;
using Tick = TickSchedule::Tick;
using Time = TickSchedule::Time;

TEST(TickSchedule, makesTheFirstFrameAtOnce) {
  const TickSchedule schedule(7s, 30, false);
  EXPECT_EQ(schedule.next(), Tick::frame);
  EXPECT_EQ(schedule.due(), 7s);
}

TEST(TickSchedule, spacesFramesByWholeNanosecondsFromTheStart) {
  TickSchedule schedule(0s, 60, false);
  for (int i = 0; i < 100000; ++i) {
    ASSERT_EQ(schedule.due(), Time(16666666) * i);
    schedule.done(schedule.due() + 3ms);
  }
}

TEST(TickSchedule, leavesOutTimesThatWereSleptThrough) {
  TickSchedule schedule(0s, 10, false);
  schedule.done(0s);
  schedule.done(1s + 50ms);
  EXPECT_EQ(schedule.due(), 1s);
  schedule.done(1s + 60ms);
  EXPECT_EQ(schedule.due(), 1s + 100ms);
}

TEST(TickSchedule, reportsEverySecondAfterTheFirst) {
  TickSchedule schedule(0s, 1, true);
  std::vector<Time> reports;
  while (schedule.due() < 5s) {
    if (schedule.next() == Tick::report) reports.push_back(schedule.due());
    schedule.done(schedule.due());
  }
  EXPECT_EQ(reports, (std::vector<Time>{1s, 2s, 3s, 4s}));
}

TEST(TickSchedule, neverReportsWhenNotAsked) {
  TickSchedule schedule(0s, 5, false);
  while (schedule.due() < 5s) {
    ASSERT_EQ(schedule.next(), Tick::frame);
    schedule.done(schedule.due());
  }
}

TEST(TickSchedule, countsTheSameFramesInEverySecond) {
  for (const int fps : {1, 7, 15, 30, 60, 120}) {
    TickSchedule schedule(0s, fps, true);
    int frames = 0;
    while (schedule.due() < 20s) {
      if (schedule.next() == Tick::frame) {
        ++frames;
      } else {
        EXPECT_EQ(frames, fps) << "at " << schedule.due().count();
        frames = 0;
      }
      schedule.done(schedule.due());
    }
  }
}

}  // namespace
}  // namespace vantora
