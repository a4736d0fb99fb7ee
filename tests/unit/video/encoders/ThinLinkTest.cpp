#include <gtest/gtest.h>

#include "main/video/encoders/ThinLink.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;

constexpr int kPixels = 1'000'000;
constexpr double kFew = 1.19 * kPixels;
constexpr double kSome = 1.5 * kPixels;
constexpr double kMany = 1.81 * kPixels;

class ThinLinkTest : public testing::Test {
 protected:
  // Whether the link counts as thin after `rate` was seen at `times`.
  bool isThin(double rate, std::initializer_list<ThinLink::Time> times) {
    for (const ThinLink::Time time : times) link_.update(rate, time);
    return link_.isThin();
  }

  ThinLink link_{kPixels};
};

TEST_F(ThinLinkTest, isWideAtFirst) {
  EXPECT_FALSE(link_.isThin());
  EXPECT_FALSE(isThin(kFew, {0s}));
}

TEST_F(ThinLinkTest, becomesThinWhenTheRateStaysLowForHalfASecond) {
  EXPECT_FALSE(isThin(kFew, {7s, 7499ms}));
  EXPECT_TRUE(isThin(kFew, {7500ms}));
}

TEST_F(ThinLinkTest, startsCountingAgainAfterARateThatIsNotLow) {
  EXPECT_FALSE(isThin(kFew, {0s, 400ms}));
  EXPECT_FALSE(isThin(kSome, {450ms}));
  EXPECT_FALSE(isThin(kFew, {500ms, 999ms}));
  EXPECT_TRUE(isThin(kFew, {1s}));
}

TEST_F(ThinLinkTest, becomesWideWhenTheRateStaysHighForThreeSeconds) {
  ASSERT_TRUE(isThin(kFew, {0s, 1s}));
  EXPECT_TRUE(isThin(kMany, {2s, 4999ms}));
  EXPECT_FALSE(isThin(kMany, {5s}));
}

TEST_F(ThinLinkTest, staysThinOverShortTimesOfAHighRate) {
  ASSERT_TRUE(isThin(kFew, {0s, 1s}));
  EXPECT_TRUE(isThin(kMany, {2s, 4s}));
  EXPECT_TRUE(isThin(kSome, {4500ms}));
  EXPECT_TRUE(isThin(kMany, {5s, 7999ms}));
  EXPECT_FALSE(isThin(kMany, {8s}));
}

TEST_F(ThinLinkTest, staysWhatItWasBetweenTheTwoRates) {
  EXPECT_FALSE(isThin(kSome, {0s, 1s, 1h}));
  ASSERT_TRUE(isThin(kFew, {2h, 3h}));
  EXPECT_TRUE(isThin(kSome, {4h, 5h, 6h}));
}

}  // namespace
}  // namespace vantora
