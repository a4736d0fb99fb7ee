#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "main/video/encoders/ScreenRateControl.h"

namespace vantora {
namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kStripes = 17;
constexpr int kFinest = 2;
constexpr double kRate = 2'000'000;
constexpr int64_t kTickUs = 16'667;
constexpr int64_t kRepeatUs = 100'000;

using Plan = ScreenRateControl::Plan;

class ScreenRateControlTest : public testing::Test {
 protected:
  ScreenRateControlTest() { control_.setRate(kRate); }

  // A frame comes after `us` in which `share` changed; `bits` for the quantizer that is planned.
  template <typename Bits>
  std::optional<Plan> frame(int64_t us, double share, Bits bits, bool key = false, int top = 0, int bottom = kHeight) {
    now_ += us;
    control_.noteChange(share, top, bottom);
    const auto plan = control_.plan(now_, key);
    if (plan) control_.encoded(bits(*plan));
    return plan;
  }
  // Bits of dense text, in stripes that the viewer has coarser.
  static double dense(const Plan& plan) {
    return (plan.end - plan.first) * (plan.quantizer == 63 ? 80'000.0 : 150'000.0);
  }
  static double few(const Plan&) { return 1000; }
  // Shows a page and lets it become sharp.
  void rest() {
    frame(kTickUs, 1, few, true);
    for (int i = 0; i < 200 && !control_.isSharp(); ++i) frame(kRepeatUs, 0, few);
    ASSERT_TRUE(control_.isSharp());
    now_ += 1'000'000;
  }

  ScreenRateControl control_{kWidth, kHeight, kFinest, false};
  int64_t now_ = 0;
};

TEST_F(ScreenRateControlTest, fitsTheFirstKeyFrameIntoThreeTenthsOfASecond) {
  for (const double rate : {200e3, 500e3, 1e6, 2e6, 4e6}) {
    control_ = {kWidth, kHeight, kFinest, false};
    control_.setRate(rate);
    control_.noteChange(1, 0, kHeight);
    const auto plan = control_.plan(now_, true);
    ASSERT_TRUE(plan);
    EXPECT_EQ(plan->quantizer, 63);
    EXPECT_EQ(plan->first, 0);
    // 0.7 bits a pixel of dense text.
    EXPECT_LE((plan->end - 1) * 64 * kWidth * 0.7, 0.3 * rate) << rate;
    EXPECT_GE((plan->end + 1) * 64 * kWidth * 0.7, std::min(0.3 * rate, 1.4e6)) << rate;
  }
}

TEST_F(ScreenRateControlTest, makesPagesFinerOnAFastLink) {
  control_.setRate(20e6);
  const auto plan = frame(0, 1, few, true);
  ASSERT_TRUE(plan);
  EXPECT_LT(plan->quantizer, 45);
  EXPECT_EQ(plan->end, kStripes);
}

TEST_F(ScreenRateControlTest, showsAllOfAPageBeforeAnyOfItBecomesFiner) {
  frame(0, 1, dense, true);
  int shown = 6;
  for (int i = 0; i < 300 && shown < kStripes; ++i) {
    const auto plan = frame(kRepeatUs, 0, dense);
    if (!plan) continue;
    EXPECT_EQ(plan->quantizer, 63);
    EXPECT_EQ(plan->first, std::exchange(shown, plan->end)) << i;
  }
  EXPECT_EQ(shown, kStripes);
}

TEST_F(ScreenRateControlTest, showsTheRestOfAPageAsTheLinkHasRoomWhileItMoves) {
  int shown = frame(0, 1, dense, true)->end;
  for (int i = 0; i < 300 && shown < kStripes; ++i) {
    const int before = shown;
    const auto plan = frame(kTickUs, 1, [&](const Plan& each) { return (each.end - before) * 80'000.0 + 1000; });
    EXPECT_LT(control_.waiting(now_), 0.32) << i;
    if (!plan) continue;
    EXPECT_EQ(plan->first, 0);
    EXPECT_EQ(plan->quantizer, 63);
    shown = plan->end;
  }
  EXPECT_EQ(shown, kStripes);
  EXPECT_EQ(frame(500'000, 1, few)->end, kStripes);
}

TEST_F(ScreenRateControlTest, showsAChangeBelowTheRestOfAPage) {
  control_.setRate(2.5e6);
  const auto first = frame(0, 1, dense, true);
  ASSERT_TRUE(first);
  ASSERT_LT(first->end, kStripes - 1);
  // The last stripe comes before its turn, as fine as it gets.
  const auto small = frame(2'000'000, 1e-5, few, false, kHeight - 10, kHeight);
  ASSERT_TRUE(small);
  EXPECT_EQ(*small, (Plan{kFinest, kStripes - 1, kStripes}));
  // Then all changes, and the link has no room for all of it.
  const auto large = frame(kTickUs, 1, dense);
  ASSERT_TRUE(large);
  ASSERT_LT(large->end, kStripes);
  bool shown = false;
  for (int i = 0; i < 300 && !control_.isSharp(); ++i) {
    const auto plan = frame(kRepeatUs, 0, few);
    shown = shown || (plan && plan->end == kStripes);
  }
  EXPECT_TRUE(shown);
}

TEST_F(ScreenRateControlTest, makesWhatStandsStillFinerStripeByStripeWithoutFillingTheQueue) {
  frame(0, 1, dense, true);
  std::vector<int> quantizers;
  for (int i = 0; i < 300 && !control_.isSharp(); ++i) {
    const auto plan = frame(kRepeatUs, 0, dense);
    EXPECT_LT(control_.waiting(now_), 0.25) << i;
    if (plan && (quantizers.empty() || quantizers.back() != plan->quantizer)) quantizers.push_back(plan->quantizer);
  }
  EXPECT_EQ(quantizers, (std::vector{63, ScreenRateControl::kReadable, ScreenRateControl::kFine, kFinest}));
  EXPECT_TRUE(control_.isSharp());
  EXPECT_FALSE(frame(kRepeatUs, 0, dense)) << "nothing is left to send";
}

TEST_F(ScreenRateControlTest, makesAllFineAtOnceWhereTheLinkIsFast) {
  control_.setRate(40e6);
  EXPECT_GT(frame(0, 1, few, true)->quantizer, kFinest);
  EXPECT_EQ(frame(kRepeatUs, 0, few), (Plan{kFinest, 0, kStripes}));
  EXPECT_TRUE(control_.isSharp());
}

TEST_F(ScreenRateControlTest, learnsThatRefinementIsCheap) {
  frame(0, 1, few, true);
  int steps = 0;
  for (; !control_.isSharp(); ++steps) {
    ASSERT_LT(steps, 25);
    frame(kRepeatUs, 0, few);
  }
}

TEST_F(ScreenRateControlTest, sendsANewPageAtOnceAsCoarseAsItTakes) {
  rest();
  EXPECT_EQ(frame(kTickUs, 1, dense), (Plan{63, 0, kStripes}));
}

TEST_F(ScreenRateControlTest, encodesASmallChangeFinelyAndNothingElse) {
  rest();
  EXPECT_EQ(frame(kTickUs, 0.001, few, false, 130, 140), (Plan{kFinest, 2, 3}));
  EXPECT_TRUE(control_.isSharp());
}

TEST_F(ScreenRateControlTest, encodesALargerChangeCoarserAndSharpensIt) {
  rest();
  const auto plan = frame(kTickUs, 0.09, few, false, 64, 192);
  ASSERT_TRUE(plan);
  EXPECT_GT(plan->quantizer, kFinest);
  EXPECT_EQ(plan->first, 1);
  EXPECT_EQ(plan->end, 3);
  EXPECT_EQ(frame(kRepeatUs, 0, few), (Plan{kFinest, 1, 3}));
}

TEST_F(ScreenRateControlTest, showsWithTheNextFrameWhatALeftOutOneChanged) {
  rest();
  frame(kTickUs, 1, [](const Plan&) { return 0.2 * kRate; });
  EXPECT_FALSE(frame(kTickUs, 0.001, few, false, 130, 140));
  EXPECT_FALSE(frame(kTickUs, 0.001, few, false, 400, 410));
  const auto plan = frame(250'000, 0, few);
  ASSERT_TRUE(plan);
  EXPECT_EQ(plan->first, 2);
  EXPECT_EQ(plan->end, 7);
}

TEST_F(ScreenRateControlTest, doesNotRefineWhileTextMayScrollOn) {
  rest();
  frame(kTickUs, 1, few);
  frame(kTickUs, 1, few);
  EXPECT_FALSE(frame(79'000, 0, few));
  EXPECT_TRUE(frame(2000, 0, few));
}

// Text for which each frame has `bitsAtZero` at quantizer 0 and half of that for every 10 that it is coarser.
struct Moving {
  double bitsAtZero;
  double operator()(const Plan& plan) const { return bitsAtZero * std::exp2(-plan.quantizer / 10.0); }
};

TEST_F(ScreenRateControlTest, findsTheQuantizerAtWhichAllFramesOfMovingTextFit) {
  rest();
  const Moving text{600'000};
  int out = 0;
  double bits = 0;
  for (int i = 0; i < 300; ++i) {
    const auto plan = frame(kTickUs, 1, text);
    EXPECT_LT(control_.waiting(now_), 0.15) << i;
    if (i < 120 || !plan) continue;
    ++out;
    bits += text(*plan);
  }
  EXPECT_GE(out, 178);
  EXPECT_GT(bits / 3, 0.75 * kRate) << "the link is used";
  EXPECT_LE(bits / 3, 1.02 * kRate);
}

TEST_F(ScreenRateControlTest, leavesMovingTextOutEvenlyOnlyWhenItIsAsCoarseAsItGets) {
  rest();
  const Moving text{8'000'000};  // 100 kbit at the coarsest.
  std::vector<int> gaps;
  int last = 0;
  for (int i = 0; i < 300; ++i) {
    const auto plan = frame(kTickUs, 1, text);
    if (!plan) continue;
    if (i > 120) {
      EXPECT_EQ(plan->quantizer, 63);
      gaps.push_back(i - last);
    }
    last = i;
  }
  ASSERT_GT(gaps.size(), 30U);
  EXPECT_LE(*std::ranges::max_element(gaps) - *std::ranges::min_element(gaps), 1);
}

TEST_F(ScreenRateControlTest, keepsFramesOfMovingTextComingForAnEncoderOfShortSearch) {
  control_ = {kWidth, kHeight, kFinest, true};
  control_.setRate(kRate);
  rest();
  frame(kTickUs, 1, [](const Plan&) { return 0.5 * kRate; });
  EXPECT_FALSE(frame(66'000, 1, few)) << "0.43 s wait";
  EXPECT_TRUE(frame(14'000, 1, few)) << "80 ms have passed";
  frame(80'000, 1, [](const Plan&) { return 3 * kRate; });
  EXPECT_FALSE(frame(100'000, 1, few)) << "more than 2.5 s wait";
}

TEST_F(ScreenRateControlTest, isNeverWithoutAKeyFrame) {
  frame(
      0, 1, [](const Plan&) { return 5 * kRate; }, true);
  EXPECT_TRUE(frame(kTickUs, 0, few, true));
}

TEST_F(ScreenRateControlTest, standsARateOfNothing) {
  control_.setRate(0);
  const auto plan = frame(0, 1, few, true);
  ASSERT_TRUE(plan);
  EXPECT_EQ(plan->end, 1);
  EXPECT_FALSE(frame(kTickUs, 1, few));
}

}  // namespace
}  // namespace vantora
