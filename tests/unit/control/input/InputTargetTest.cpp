// Which rectangle a position is mapped onto.
#include <gtest/gtest.h>

#include <algorithm>

#include "main/control/input/InputInjector.h"
#include "tests/fakes/FakeDesktopInput.h"
#include "tests/fakes/FakeDisplays.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/RecordedLog.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// One point is two pixels, so that the two modes give different results.
Display display(std::uint32_t id, QRect bounds, double rotation = 0) {
  const QRectF frame(bounds.x() / 2.0, bounds.y() / 2.0, bounds.width() / 2.0, bounds.height() / 2.0);
  return {.id = id, .name = u"d%1"_s.arg(id), .bounds = bounds, .rotationDegrees = rotation, .frameInPoints = frame};
}

const Display kFirst = display(11, QRect(0, 0, 1000, 500));
const Display kSecond = display(12, QRect(1000, 0, 800, 600));
const Display kUnnumbered = display(0, QRect(0, 0, 400, 200));

class InputTargetTest : public testing::Test {
 protected:
  QPointF middle() { return injector_.toPoint(0.5, 0.5); }

  fakes::RecordedLog log_;
  fakes::FakeDisplays displays_{{kFirst, kSecond}};
  fakes::FakeDesktopInput input_{&displays_};
  fakes::FakeScheduler scheduler_;
  InputInjector injector_{displays_, input_, scheduler_};
};

TEST_F(InputTargetTest, beginsWithPointsOfTheFirstScreenAndTheTopOrigin) {
  EXPECT_EQ(injector_.toPoint(0.5, 0.25), QPointF(250, 62.5));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(InputTargetTest, mapsOntoTheTargetsFrameInPoints) {
  injector_.setTargetScreen(1);
  EXPECT_EQ(middle(), QPointF(700, 150));
}

TEST_F(InputTargetTest, mapsOntoTheTargetsBoundsInPixels) {
  injector_.setMappingMode(false);
  injector_.setTargetScreen(1);
  EXPECT_EQ(middle(), QPointF(1400, 300));
}

TEST_F(InputTargetTest, mapsOntoTheFirstDisplaysBoundsInPixelsWithoutATarget) {
  injector_.setMappingMode(false);
  EXPECT_EQ(middle(), QPointF(500, 250));
}

TEST_F(InputTargetTest, mapsOntoTheFirstFrameInPixelsWhenItHasNoNumber) {
  displays_.set({kUnnumbered});
  injector_.setMappingMode(false);
  EXPECT_EQ(middle(), QPointF(100, 50));
}

TEST_F(InputTargetTest, mapsOntoNothingWithoutScreens) {
  displays_.set({});
  EXPECT_EQ(middle(), QPointF(0, 0));
  injector_.setMappingMode(false);
  EXPECT_EQ(middle(), QPointF(0, 0));
}

TEST_F(InputTargetTest, targetsTheFirstScreenForAnIndexOutOfRange) {
  for (const std::int64_t index : {std::int64_t{7}, std::int64_t{2}, std::int64_t{-1}, std::int64_t{1} << 40}) {
    injector_.setTargetScreen(1);
    injector_.setTargetScreen(index);
    EXPECT_EQ(middle(), QPointF(250, 125)) << index;
  }
}

TEST_F(InputTargetTest, logsANumberedTarget) {
  displays_.set({display(5, QRect(10, -20, 1920, 1080), 90.9)});
  injector_.setTargetScreen(0);
  EXPECT_EQ(log_.lines(), QStringList{u"[input] target display id=5 rotation=90 bounds=(10, -20, 1920, 1080)"_s});
}

TEST_F(InputTargetTest, logsATargetWithoutANumber) {
  displays_.set({kUnnumbered});
  injector_.setTargetScreen(0);
  EXPECT_EQ(log_.lines(), QStringList{u"[input] fallback target frame=(0, 0, 200, 100) (points)"_s});
}

TEST_F(InputTargetTest, fallsBackOnTheFrameInPointsOfATargetWithoutANumber) {
  displays_.set({kUnnumbered});
  injector_.setTargetScreen(0);
  injector_.setMappingMode(false);
  displays_.set({kFirst});
  EXPECT_EQ(middle(), QPointF(100, 50));
}

TEST_F(InputTargetTest, keepsTheRotationWhenTheNewTargetHasNoNumber) {
  displays_.set({display(5, QRect(0, 0, 400, 200), 180), kUnnumbered});
  injector_.setTargetScreen(0);
  injector_.setTargetScreen(1);
  EXPECT_EQ(injector_.toPoint(0.25, 0.25), QPointF(150, 75));
}

TEST_F(InputTargetTest, forgetsTargetAndFallbackWithoutScreens) {
  injector_.setTargetScreen(1);
  displays_.set({});
  injector_.setTargetScreen(1);
  EXPECT_EQ(log_.lines().size(), 1);
  injector_.setMappingMode(false);
  EXPECT_EQ(middle(), QPointF(0, 0));
  injector_.setMappingMode(true);
  displays_.set({kFirst, kSecond});
  EXPECT_EQ(middle(), QPointF(250, 125));
}

TEST_F(InputTargetTest, turnsPositionsWithTheTargetsRotation) {
  displays_.set({display(5, QRect(0, 0, 2000, 1000), 90)});
  injector_.setTargetScreen(0);
  EXPECT_EQ(injector_.toPoint(0.5, 0.2), QPointF(900, 500));
}

TEST_F(InputTargetTest, followsTheTargetsFrameInPointsWhenItsResolutionChanges) {
  injector_.setTargetScreen(1);
  displays_.set({kFirst, display(12, QRect(1000, 0, 1600, 1200))});
  EXPECT_EQ(middle(), QPointF(900, 300));
}

TEST_F(InputTargetTest, keepsTheBoundsInPixelsAsTheyWereChosen) {
  injector_.setMappingMode(false);
  injector_.setTargetScreen(1);
  displays_.set({kFirst, display(12, QRect(1000, 0, 1600, 1200))});
  EXPECT_EQ(middle(), QPointF(1400, 300));
}

// The desktop takes fractions of the display as it is now: the pixel stays the same one.
TEST_F(InputTargetTest, movesToTheSamePixelAfterAChangeOfResolution) {
  injector_.setMappingMode(false);
  injector_.setTargetScreen(1);
  displays_.set({kFirst, display(12, QRect(1000, 0, 1600, 1200))});
  injector_.move(0.5, 0.5);
  EXPECT_EQ(input_.position, QPointF(1400, 300));
  displays_.set({kFirst, display(12, QRect(1000, 0, 200, 100))});
  injector_.move(0.5, 0.5);
  EXPECT_EQ(input_.position, QPointF(1199, 99)) << "no pixel of another display";
}

TEST_F(InputTargetTest, pressesNothingWithoutADisplayToPointAt) {
  displays_.set({});
  injector_.click(0.5, 0.5, 0);
  injector_.mouseDown(0.5, 0.5, 0);
  injector_.doubleClick(0.5, 0.5, 0);
  EXPECT_TRUE(input_.heldButtons.empty());
  EXPECT_EQ(std::ranges::count(input_.pointerActions, fakes::FakeDesktopInput::pressed(PointerButton::left)), 0);
  displays_.set({kFirst});
  injector_.mouseDown(0.5, 0.5, 0);
  displays_.set({});
  injector_.mouseUp(0.5, 0.5, 0);
  EXPECT_TRUE(input_.heldButtons.empty()) << "a release needs no place";
}

TEST_F(InputTargetTest, keepsTheLastFrameOfATargetThatHasGone) {
  injector_.setTargetScreen(1);
  displays_.set({kFirst});
  EXPECT_EQ(middle(), QPointF(700, 150));
}

TEST_F(InputTargetTest, movesOnTheTarget) {
  using Input = fakes::FakeDesktopInput;
  injector_.move(0.5, 0.25);
  injector_.setTargetScreen(1);
  injector_.move(1, 1);
  injector_.setMappingMode(false);
  injector_.move(0.25, 0.5);
  EXPECT_EQ(input_.pointerActions,
            (std::vector{Input::moved(11, 0.5, 0.25), Input::moved(12, 1, 1), Input::moved(12, 0.25, 0.5)}));
}

TEST_F(InputTargetTest, movesWhereTheTargetWasAfterItHasGone) {
  injector_.setTargetScreen(1);
  displays_.set({kFirst});
  injector_.move(0.5, 0.5);
  EXPECT_EQ(input_.pointerActions, std::vector{fakes::FakeDesktopInput::moved(12, 0.5, 0.5)});
}

TEST_F(InputTargetTest, turnsMotionsWithTheTargetsRotation) {
  displays_.set({display(5, QRect(0, 0, 2000, 1000), 180)});
  injector_.setTargetScreen(0);
  injector_.move(0.25, 0.25);
  EXPECT_EQ(input_.pointerActions, std::vector{fakes::FakeDesktopInput::moved(5, 0.75, 0.75)});
}

TEST_F(InputTargetTest, logsModeAndOrigin) {
  injector_.setMappingMode(true);
  injector_.setMappingMode(false);
  injector_.setOrigin(true);
  injector_.setOrigin(false);
  EXPECT_EQ(log_.lines(), (QStringList{u"[input] mapping mode=points"_s, u"[input] mapping mode=pixels"_s,
                                       u"[input] origin=top"_s, u"[input] origin=bottom"_s}));
}

TEST_F(InputTargetTest, countsUpwardFromTheBottomOrigin) {
  injector_.setOrigin(false);
  EXPECT_EQ(injector_.toPoint(0, 0.2), QPointF(0, 200));
}

}  // namespace
}  // namespace vantora
