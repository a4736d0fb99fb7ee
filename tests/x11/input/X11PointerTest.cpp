#include <algorithm>
#include <cmath>

#include "main/control/input/InputInjector.h"
#include "platform/x11/WheelClicks.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/x11/input/X11InputFixture.h"

namespace vantora::testx11 {
namespace {

class X11PointerTest : public X11InputFixture {
 protected:
  void SetUp() override {
    X11InputFixture::SetUp();
    injector_ = std::make_unique<InputInjector>(*displays_, *input_, scheduler_);
  }
  // Presses as positive, releases as negative button numbers.
  std::vector<int> clicks() {
    std::vector<int> numbers;
    for (const SeenEvent& event : window().buttons()) {
      numbers.push_back(event.type == XCB_BUTTON_PRESS ? event.detail : -event.detail);
    }
    window_->clear();
    return numbers;
  }

  fakes::FakeScheduler scheduler_;
  std::unique_ptr<InputInjector> injector_;
};

TEST_F(X11PointerTest, movesToTheExactPixel) {
  injector_->move(0.5, 0.25);
  injector_->move(0, 0);
  injector_->move(1, 1);
  const auto motions = window().motions();
  ASSERT_EQ(motions.size(), 3U);
  EXPECT_EQ(std::pair(motions[0].x, motions[0].y), std::pair(512, 192));
  EXPECT_EQ(std::pair(motions[1].x, motions[1].y), std::pair(0, 0));
  EXPECT_EQ(std::pair(motions[2].x, motions[2].y), std::pair(1023, 767));
}

TEST_F(X11PointerTest, survivesPointsFarOutsideTheScreen) {
  const std::uint32_t id = displays_->list().front().id;
  input_->moveTo(id, 1e300, -1e300);
  EXPECT_EQ(std::pair(window().pointer().x, window().pointer().y), std::pair(1023, 0));
  input_->moveTo(id, std::nan(""), 1);
  EXPECT_EQ(std::pair(window().pointer().x, window().pointer().y), std::pair(0, 767));
}

TEST_F(X11PointerTest, findsEveryPixelByItsFraction) {
  ASSERT_TRUE(server_.splitIntoTwoMonitors(637, 387, 768));
  for (int x = 0; x < 387; x += 7) {
    input_->moveTo(displays_->list().back().id, x / 387.0, 0);
    ASSERT_EQ(window().pointer().x, 637 + x);
  }
}

TEST_F(X11PointerTest, takesAMonitorThatHasGoneToBeWhereItWas) {
  ASSERT_TRUE(server_.splitIntoTwoMonitors(600, 424, 768));
  const std::uint32_t second = displays_->list().back().id;
  input_->moveTo(second, 0, 0);
  ASSERT_TRUE(server_.run({"xrandr", "--delmonitor", "right"}) == 0);
  ASSERT_TRUE(window_->waitUntil([&] { return displays_->list().back().id != second; }));
  input_->moveTo(second, 0.5, 0.5);
  EXPECT_EQ(window().pointer().x, 812);
  input_->moveTo(12345, 0, 0);
  EXPECT_EQ(window().pointer().x, 812) << "there never was such a display";
}

TEST_F(X11PointerTest, staysOffTheNeighbouringMonitor) {
  ASSERT_TRUE(server_.splitIntoTwoMonitors(600, 424, 768));
  injector_->setTargetScreen(0);
  injector_->move(1, 0.5);
  EXPECT_EQ(window().pointer().x, 599);
  injector_->setTargetScreen(1);
  injector_->move(0, 0.5);
  EXPECT_EQ(window().pointer().x, 600);
  injector_->move(1, 0.5);
  EXPECT_EQ(window().pointer().x, 1023);
}

TEST_F(X11PointerTest, pressesTheRightButtonNumbers) {
  for (const auto& [viewerButton, expected] : {std::pair(0, 1), std::pair(1, 2), std::pair(2, 3), std::pair(7, 1)}) {
    injector_->click(0.5, 0.5, viewerButton);
    EXPECT_EQ(clicks(), (std::vector{expected, -expected})) << viewerButton;
  }
}

TEST_F(X11PointerTest, pressesWhereTheViewerPointed) {
  injector_->mouseDown(0.5, 0.5, 0);
  injector_->mouseUp(0.75, 0.5, 0);
  const auto buttons = window().buttons();
  ASSERT_EQ(buttons.size(), 2U);
  EXPECT_EQ(std::pair(buttons[0].x, buttons[0].y), std::pair(512, 384));
  EXPECT_EQ(std::pair(buttons[1].x, buttons[1].y), std::pair(768, 384));
}

TEST_F(X11PointerTest, dragsWithEveryButton) {
  for (const auto& [viewerButton, mask] : {std::pair(0, int{XCB_BUTTON_MASK_1}), std::pair(1, int{XCB_BUTTON_MASK_2}),
                                           std::pair(2, int{XCB_BUTTON_MASK_3})}) {
    injector_->mouseDown(0.25, 0.25, viewerButton);
    settle();
    window_->clear();
    injector_->move(0.5, 0.5);
    const auto motions = window().motions();
    ASSERT_EQ(motions.size(), 1U);
    EXPECT_EQ(motions[0].state & 0x1f00, mask) << viewerButton;
    injector_->mouseUp(0.5, 0.5, viewerButton);
    EXPECT_EQ(window().pointer().mask & 0x1f00, 0) << viewerButton;
  }
}

TEST_F(X11PointerTest, doubleClicksWithinTheTimeThatApplicationsAllow) {
  injector_->doubleClick(0.5, 0.5, 0);
  const auto buttons = window().buttons();
  ASSERT_EQ(buttons.size(), 4U);
  constexpr xcb_timestamp_t kShortestCustomaryLimit = 250;
  EXPECT_LT(buttons[2].time - buttons[0].time, kShortestCustomaryLimit);
  for (const SeenEvent& event : buttons) EXPECT_EQ(std::pair(event.x, event.y), std::pair(512, 384));
  EXPECT_EQ(clicks(), (std::vector{1, -1, 1, -1}));
}

TEST_F(X11PointerTest, endsALostPressBeforeTheNextOne) {
  injector_->mouseDown(0.5, 0.5, 0);
  injector_->mouseDown(0.5, 0.5, 0);
  EXPECT_EQ(clicks(), (std::vector{1, -1, 1}));
}

TEST_F(X11PointerTest, leavesAPersonsButtonDown) {
  window().personButton(1, true);
  injector_->mouseUp(0.5, 0.5, 0);
  EXPECT_EQ(window().pointer().mask & XCB_BUTTON_MASK_1, XCB_BUTTON_MASK_1);
}

TEST_F(X11PointerTest, mindsTheSwappedButtonsOfALeftHandedPerson) {
  ASSERT_EQ(server_.run({"xmodmap", "-e", "pointer = 3 2 1 4 5 6 7 8 9 10"}), 0);
  injector_->click(0.5, 0.5, 0);
  EXPECT_EQ(clicks(), (std::vector{1, -1}));
  injector_->click(0.5, 0.5, 2);
  EXPECT_EQ(clicks(), (std::vector{3, -3}));
}

TEST_F(X11PointerTest, scrollsInTheViewersDirections) {
  injector_->wheel(0, 120);
  EXPECT_EQ(clicks(), (std::vector{5, -5}));
  injector_->wheel(0, -120);
  EXPECT_EQ(clicks(), (std::vector{4, -4}));
  injector_->wheel(120, 0);
  EXPECT_EQ(clicks(), (std::vector{7, -7}));
  injector_->wheel(-120, 0);
  EXPECT_EQ(clicks(), (std::vector{6, -6}));
  injector_->wheel(100, 200);
  EXPECT_EQ(clicks(), (std::vector{5, -5, 5, -5, 7, -7}));
}

TEST_F(X11PointerTest, addsUpSmallScrollDistancesOfEachAxis) {
  for (int step = 0; step < 52; ++step) injector_->wheel(1, 1);
  EXPECT_TRUE(clicks().empty());
  injector_->wheel(0, 1);
  EXPECT_EQ(clicks(), (std::vector{5, -5}));
  injector_->wheel(1, 0);
  EXPECT_EQ(clicks(), (std::vector{7, -7}));
}

TEST_F(X11PointerTest, boundsTheClicksOfAWildScroll) {
  injector_->wheel(0, 1e9);
  EXPECT_EQ(clicks().size(), 2U * WheelClicks::kMaxClicks);
  injector_->wheel(-1e300, 0);
  EXPECT_EQ(clicks().size(), 2U * WheelClicks::kMaxClicks);
}

}  // namespace
}  // namespace vantora::testx11
