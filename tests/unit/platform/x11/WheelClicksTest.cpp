#include <gtest/gtest.h>

#include <limits>

#include "platform/x11/WheelClicks.h"

namespace vantora {
namespace {

TEST(WheelClicks, clicksOncePerNotchOfEitherSize) {
  for (const int notch : {100, 120}) {
    WheelClicks wheel;
    for (int turn = 0; turn < 20; ++turn) EXPECT_EQ(wheel.add(notch), 1) << notch;
    for (int turn = 0; turn < 20; ++turn) EXPECT_EQ(wheel.add(-notch), -1) << notch;
    EXPECT_EQ(wheel.add(3 * notch), 3) << notch;
  }
}

TEST(WheelClicks, addsUpManySmallDistances) {
  WheelClicks wheel;
  int clicks = 0;
  for (int step = 0; step < WheelClicks::kPixelsPerClick; ++step) {
    EXPECT_EQ(clicks, 0) << step;
    clicks += wheel.add(1);
  }
  EXPECT_EQ(clicks, 1);
}

TEST(WheelClicks, losesNoDistanceBetweenMessages) {
  WheelClicks wheel;
  int clicks = 0;
  for (int step = 0; step < 530; ++step) clicks += wheel.add(-7);
  EXPECT_EQ(clicks, -70);
}

TEST(WheelClicks, dropsTheRemainderWhenTheDirectionTurns) {
  WheelClicks wheel;
  EXPECT_EQ(wheel.add(52), 0);
  EXPECT_EQ(wheel.add(-1), 0);
  EXPECT_EQ(wheel.add(52), 0);
  EXPECT_EQ(wheel.add(1), 1);
}

TEST(WheelClicks, keepsTheRemainderThroughAMessageWithoutDistance) {
  WheelClicks wheel;
  EXPECT_EQ(wheel.add(52), 0);
  EXPECT_EQ(wheel.add(0), 0);
  EXPECT_EQ(wheel.add(1), 1);
}

TEST(WheelClicks, forgetsTheRemainderOnDemand) {
  WheelClicks wheel;
  EXPECT_EQ(wheel.add(52), 0);
  wheel.reset();
  EXPECT_EQ(wheel.add(1), 0);
}

TEST(WheelClicks, boundsTheClicksOfAWildMessage) {
  for (const std::int32_t wild : {1000000000, 1000000001, std::numeric_limits<std::int32_t>::max()}) {
    WheelClicks wheel;
    EXPECT_EQ(wheel.add(wild), WheelClicks::kMaxClicks) << wild;
    EXPECT_EQ(wheel.add(52), 0) << wild;
    EXPECT_EQ(wheel.add(-wild), -WheelClicks::kMaxClicks) << wild;
  }
  WheelClicks wheel;
  EXPECT_EQ(wheel.add(std::numeric_limits<std::int32_t>::min()), -WheelClicks::kMaxClicks);
}

}  // namespace
}  // namespace vantora
