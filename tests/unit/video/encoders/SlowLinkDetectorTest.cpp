#include <gtest/gtest.h>

#include "main/video/encoders/SlowLinkDetector.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;

constexpr int kPixels = 1'000'000;
constexpr double kFew = 1.19 * kPixels;
constexpr double kSome = 1.5 * kPixels;
constexpr double kMany = 1.81 * kPixels;

class SlowLinkDetectorTest : public testing::Test {
 protected:
  // Whether the link counts as slow after `rate` was seen at `times`.
  bool isSlow(double rate, std::initializer_list<SlowLinkDetector::Time> times) {
    for (const SlowLinkDetector::Time time : times) link_.update(rate, time);
    return link_.isSlow();
  }

  SlowLinkDetector link_{kPixels};
};

TEST_F(SlowLinkDetectorTest, isFastAtFirst) {
  EXPECT_FALSE(link_.isSlow());
  EXPECT_FALSE(isSlow(kFew, {0s}));
}

TEST_F(SlowLinkDetectorTest, becomesSlowWhenTheRateStaysLowForHalfASecond) {
  EXPECT_FALSE(isSlow(kFew, {7s, 7499ms}));
  EXPECT_TRUE(isSlow(kFew, {7500ms}));
}

TEST_F(SlowLinkDetectorTest, startsCountingAgainAfterARateThatIsNotLow) {
  EXPECT_FALSE(isSlow(kFew, {0s, 400ms}));
  EXPECT_FALSE(isSlow(kSome, {450ms}));
  EXPECT_FALSE(isSlow(kFew, {500ms, 999ms}));
  EXPECT_TRUE(isSlow(kFew, {1s}));
}

TEST_F(SlowLinkDetectorTest, becomesFastWhenTheRateStaysHighForThreeSeconds) {
  ASSERT_TRUE(isSlow(kFew, {0s, 1s}));
  EXPECT_TRUE(isSlow(kMany, {2s, 4999ms}));
  EXPECT_FALSE(isSlow(kMany, {5s}));
}

TEST_F(SlowLinkDetectorTest, staysSlowOverShortTimesOfAHighRate) {
  ASSERT_TRUE(isSlow(kFew, {0s, 1s}));
  EXPECT_TRUE(isSlow(kMany, {2s, 4s}));
  EXPECT_TRUE(isSlow(kSome, {4500ms}));
  EXPECT_TRUE(isSlow(kMany, {5s, 7999ms}));
  EXPECT_FALSE(isSlow(kMany, {8s}));
}

TEST_F(SlowLinkDetectorTest, staysWhatItWasBetweenTheTwoRates) {
  EXPECT_FALSE(isSlow(kSome, {0s, 1s, 1h}));
  ASSERT_TRUE(isSlow(kFew, {2h, 3h}));
  EXPECT_TRUE(isSlow(kSome, {4h, 5h, 6h}));
}

}  // namespace
}  // namespace vantora
