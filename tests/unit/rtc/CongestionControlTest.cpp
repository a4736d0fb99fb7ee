#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "main/rtc/congestion/CongestionControl.h"
#include "tests/unit/rtc/SimulatedLink.h"

namespace vantora {
namespace {

constexpr double kPage = 2'000'000;  // A page of dense text in bytes.

class CongestionControlTest : public ::testing::Test {
 protected:
  void showPage(double bytes = kPage) {
    link_.produce = [bytes, done = false](SimulatedLink&) mutable { return std::exchange(done, true) ? 0 : bytes; };
  }
  // Scrolling text: a frame 60 times a second that uses the rate.
  void scroll() {
    link_.produce = [next = link_.now()](SimulatedLink& link) mutable {
      if (link.now() < next) return 0.0;
      next += 1.0 / 60;
      return link.targetKbps() / 8 * 1000 / 60 * 0.97;
    };
  }
  // A clock in a corner.
  void rest() {
    link_.produce = [next = link_.now()](SimulatedLink& link) mutable {
      if (link.now() < next) return 0.0;
      next += 1;
      return 300.0;
    };
  }
  double kbpsDuring(double seconds) {
    link_.resetFigures();
    link_.run(seconds);
    return link_.arrivedBytes * 8 / 1000 / seconds;
  }

  std::unique_ptr<webrtc::NetworkControllerFactoryInterface> factory_ = makeCongestionControl();
  SimulatedLink link_{*factory_, kCongestionTrials};
};

class LinkRates : public CongestionControlTest, public ::testing::WithParamInterface<double> {};

TEST_P(LinkRates, areReachedWithinASecondWithoutALongQueue) {
  link_.form.kbps = GetParam();
  showPage();
  link_.run(0.6);
  EXPECT_GT(kbpsDuring(0.4), 0.85 * GetParam());
  EXPECT_GT(link_.targetKbps(), 0.8 * GetParam());
  EXPECT_LT(link_.targetKbps(), 1.05 * GetParam());
  EXPECT_EQ(link_.lost, 0);
}

TEST_P(LinkRates, areUsedWhileThePictureScrolls) {
  link_.form.kbps = GetParam();
  showPage();
  link_.run(1);
  scroll();
  link_.run(2);
  EXPECT_GT(kbpsDuring(20), 0.88 * GetParam());
  EXPECT_GT(link_.lowestTarget, 0.8 * GetParam());
  EXPECT_LT(link_.longestQueueMs, 80);
  EXPECT_EQ(link_.lost, 0);
}

INSTANTIATE_TEST_SUITE_P(All, LinkRates, ::testing::Values(500, 1000, 2000, 4000, 8000));

TEST_F(CongestionControlTest, aLinkThatBecameSlowerWhileTheScreenWasStillKeepsItsRate) {
  link_.form.kbps = 6000;
  showPage();
  link_.run(2);
  rest();
  link_.run(8);
  link_.form.kbps = 2000;
  for (int page = 0; page < 3; ++page) {
    link_.resetFigures();
    showPage(100'000);
    link_.run(1.5);
    rest();
    link_.run(1.5);
    EXPECT_GT(link_.lowestTarget, 1600);
  }
  EXPECT_EQ(link_.lost, 0);
  EXPECT_LT(link_.longestQueueMs, 80);
}

TEST_F(CongestionControlTest, aFasterLinkIsNoticedWhileThePictureScrolls) {
  link_.form.kbps = 1000;
  showPage();
  link_.run(2);
  scroll();
  link_.run(5);
  link_.form.kbps = 4000;
  link_.run(15);
  EXPECT_GT(kbpsDuring(1), 3000);
}

TEST_F(CongestionControlTest, aFasterLinkIsNoticedWithAPage) {
  link_.form.kbps = 1000;
  showPage(100'000);
  link_.run(3);
  link_.form.kbps = 4000;
  showPage();
  link_.run(4);
  EXPECT_GT(kbpsDuring(0.5), 3000);
}

TEST_F(CongestionControlTest, randomLossesDoNotSlowItDown) {
  for (const int every : {100, 20}) {
    SCOPED_TRACE(every);
    link_.form.loseEvery = every;
    scroll();
    link_.run(10);
    EXPECT_GT(kbpsDuring(10), 0.8 * 2000);
  }
}

TEST_F(CongestionControlTest, aDelayThatVariesIsNoQueue) {
  link_.form.kbps = 50'000;
  link_.form.jitterMs = 30;
  scroll();
  link_.run(10);
  EXPECT_GT(kbpsDuring(20), 4000);
}

TEST_F(CongestionControlTest, aLinkWithAShortQueueIsUsed) {
  link_.form.queueMs = 20;
  link_.form.burstBytes = 4000;
  showPage();
  link_.run(1);
  scroll();
  link_.run(2);
  EXPECT_GT(kbpsDuring(20), 0.8 * 2000);
  EXPECT_LT(link_.lost, 0.03 * link_.arrived);
}

TEST_F(CongestionControlTest, theRateIsBackSoonAfterAnOutage) {
  scroll();
  link_.run(5);
  link_.form.kbps = 0;
  link_.run(6);
  link_.form.kbps = 2000;
  link_.run(2);
  EXPECT_GT(kbpsDuring(1), 1300);
}

TEST_F(CongestionControlTest, probesDoNotExceedAMeasuredCapacityByMuch) {
  showPage();
  link_.run(1);
  scroll();
  link_.resetFigures();
  for (int change = 0; change < 4; ++change) {
    link_.run(3);
    link_.form.kbps = change % 2 ? 2000 : 700;
  }
  EXPECT_LT(link_.fastestProbe, 3500);
}

}  // namespace
}  // namespace vantora
