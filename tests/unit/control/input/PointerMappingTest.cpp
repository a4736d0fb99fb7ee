#include <gtest/gtest.h>

#include <limits>

#include "main/control/input/PointerMapping.h"

namespace vantora {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();

const QRectF kFrame(0, 0, 1000, 500);

TEST(PointerMapping, spreadsTheImageOverTheFrame) {
  EXPECT_EQ(mapToFrame(kFrame, 0.25, 0.5, 0, true), QPointF(250, 250));
}

TEST(PointerMapping, addsTheFramesOwnPosition) {
  EXPECT_EQ(mapToFrame(QRectF(1920, -200, 800, 600), 0.5, 0.5, 0, true), QPointF(2320, 100));
}

TEST(PointerMapping, mapsOneOntoTheFarEdgeItself) { EXPECT_EQ(mapToFrame(kFrame, 1, 1, 0, true), QPointF(1000, 500)); }

TEST(PointerMapping, keepsPositionsWithinTheFrame) {
  EXPECT_EQ(mapToFrame(kFrame, 1.5, 0.5, 0, true), QPointF(1000, 250));
  EXPECT_EQ(mapToFrame(kFrame, -0.2, 0.5, 0, true), QPointF(0, 250));
  EXPECT_EQ(mapToFrame(kFrame, 0.5, 7, 0, true), QPointF(500, 500));
  EXPECT_EQ(mapToFrame(kFrame, 0.5, -7, 0, true), QPointF(500, 0));
}

TEST(PointerMapping, survivesInfinityAndNaN) {
  EXPECT_EQ(mapToFrame(kFrame, kInfinity, -kInfinity, 0, true), QPointF(1000, 0));
  EXPECT_EQ(mapToFrame(kFrame, kNoNumber, kNoNumber, 0, true), QPointF(0, 0));
  EXPECT_EQ(mapToFrame(kFrame, 1e308, 1e308, 0, true), QPointF(1000, 500));
  EXPECT_EQ(mapToFrame(QRectF(), kInfinity, 0.5, 0, true), QPointF(0, 0));
  EXPECT_EQ(mapToFrame(kFrame, 0.5, 0.2, kNoNumber, true), QPointF(500, 100));
}

TEST(PointerMapping, turnsByNinetyDegrees) { EXPECT_EQ(mapToFrame(kFrame, 0.5, 0.2, 90, true), QPointF(900, 500)); }

TEST(PointerMapping, turnsByHalf) { EXPECT_EQ(mapToFrame(kFrame, 0.25, 0.2, 180, true), QPointF(750, 400)); }

TEST(PointerMapping, turnsByThreeQuarters) { EXPECT_EQ(mapToFrame(kFrame, 0.25, 0.2, 270, true), QPointF(100, 250)); }

TEST(PointerMapping, exchangesAxesWithoutTheSidesOfTheFrame) {
  EXPECT_EQ(mapToFrame(kFrame, 1, 0, 90, true), QPointF(1000, 1000));
  EXPECT_EQ(mapToFrame(kFrame, 1, 0, 270, true), QPointF(0, -500));
}

TEST(PointerMapping, leavesOtherRotationsAlone) {
  for (const double rotation : {0.0, 45.0, 89.0, 91.0, 360.0, -90.0, 450.0}) {
    EXPECT_EQ(mapToFrame(kFrame, 0.5, 0.2, rotation, true), QPointF(500, 100)) << rotation;
  }
}

TEST(PointerMapping, cutsTheRotationToAWholeNumber) {
  EXPECT_EQ(mapToFrame(kFrame, 0.5, 0.2, 90.9, true), QPointF(900, 500));
  EXPECT_EQ(mapToFrame(kFrame, 0.5, 0.2, 89.9, true), QPointF(500, 100));
}

TEST(PointerMapping, countsUpwardFromTheBottomOrigin) {
  EXPECT_EQ(mapToFrame(kFrame, 0.5, 0.2, 0, false), QPointF(500, 400));
  EXPECT_EQ(mapToFrame(QRectF(10, 20, 1000, 500), 0, 1, 0, false), QPointF(10, 20));
}

TEST(PointerMapping, appliesTheOriginAfterTheRotation) {
  EXPECT_EQ(mapToFrame(kFrame, 0.5, 0.2, 180, false), QPointF(500, 100));
}

TEST(PointerMapping, takesUnknownButtonsForTheLeftOne) {
  EXPECT_EQ(buttonFor(0), PointerButton::left);
  EXPECT_EQ(buttonFor(1), PointerButton::centre);
  EXPECT_EQ(buttonFor(2), PointerButton::right);
  for (const std::int64_t other : {std::int64_t{-1}, std::int64_t{3}, std::int64_t{4}, std::int64_t{1} << 32,
                                   std::numeric_limits<std::int64_t>::min()}) {
    EXPECT_EQ(buttonFor(other), PointerButton::left) << other;
  }
}

TEST(PointerMapping, tellsFractionsOfTheFrame) {
  const QRectF frame(1920, -200, 800, 600);
  EXPECT_EQ(fractionOf(frame, QPointF(2320, 100)), QPointF(0.5, 0.5));
  EXPECT_EQ(fractionOf(frame, QPointF(2720, 400)), QPointF(1, 1));
  EXPECT_EQ(fractionOf(frame, QPointF(1120, 1000)), QPointF(-1, 2));
  EXPECT_EQ(fractionOf(QRectF(), QPointF(3, 4)), QPointF(0, 0));
}

TEST(PointerMapping, negatesOnlyTheVerticalWheel) {
  EXPECT_EQ(scrollFor(3, 10), (ScrollEvent{-10, 3}));
  EXPECT_EQ(scrollFor(-3, -10), (ScrollEvent{10, -3}));
}

TEST(PointerMapping, cutsWheelDistancesTowardZero) {
  EXPECT_EQ(scrollFor(3.9, 10.9), (ScrollEvent{-10, 3}));
  EXPECT_EQ(scrollFor(-3.9, -10.9), (ScrollEvent{10, -3}));
  EXPECT_EQ(scrollFor(0.9, -0.9), (ScrollEvent{0, 0}));
}

TEST(PointerMapping, neverWrapsWheelDistances) {
  EXPECT_EQ(scrollFor(1e300, 1e300), (ScrollEvent{kLowest, kHighest}));
  EXPECT_EQ(scrollFor(-kInfinity, -kInfinity), (ScrollEvent{kHighest, kLowest}));
  EXPECT_EQ(scrollFor(2147483648.0, -2147483648.0), (ScrollEvent{kHighest, kHighest}));
  EXPECT_EQ(scrollFor(-2147483648.0, 2147483648.0), (ScrollEvent{kLowest, kLowest}));
  EXPECT_EQ(scrollFor(kNoNumber, kNoNumber), (ScrollEvent{0, 0}));
}

}  // namespace
}  // namespace vantora
