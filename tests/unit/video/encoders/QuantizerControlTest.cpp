#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "main/video/encoders/QuantizerControl.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;

constexpr double kRate = 1'000'000;
constexpr double kFps = 60;
constexpr int kBlocks = 3600;

// A model of an encoder on a page of dense text: linear sizes, and each finer step costs a thirteenth of a page.
struct Page {
  double whole = 4e6;  // Bits at quantizer 26.
  double moved = 6e4;  // Bits at 26 when all of it moves.
  double quantizer = 51;

  static double sizeAt(double q) { return q <= 40 ? 1 + (26 - q) * 0.0385 : 0.461 * std::exp2((40 - q) / 6.0); }
  double bits(int q, const QuantizerControl::Change& change, bool key) {
    const double fresh = key ? 1 : change.fresh;
    const double refined = !key && q < quantizer ? (1 - fresh) * whole / 13 * (quantizer - q) : 0;
    quantizer = key ? q : std::min<double>(quantizer, q);
    return fresh * whole * sizeAt(q) + (change.share - change.fresh) * moved * std::exp2((26 - q) / 11.0) + refined;
  }
};

class QuantizerControlTest : public testing::Test {
 protected:
  using Change = QuantizerControl::Change;

  QuantizerControlTest() { control_.setRate(kRate); }

  // Encodes one frame that comes `later`; returns its bits, 0 if it was dropped.
  double encode(const Change& change, bool key = false, QuantizerControl::Time later = 1'000'000'000ns / 60) {
    now_ += later;
    queue_ = std::max(0.0, queue_ - std::chrono::duration<double>(later).count() * rate_);
    auto planned = control_.plan(change, key, now_);
    if (!planned) return 0;
    double bits = page_.bits(*planned, change, key);
    if (key) {
      if (const auto better = control_.retryQuantizer(*planned, change, true, bits)) {
        planned = better;
        bits = page_.bits(*planned, change, key);
      }
    }
    control_.encoded(*planned, change, key, bits);
    longestQueue_ = std::max(longestQueue_, queue_ / rate_);
    queue_ += bits;
    last_ = *planned;
    return bits;
  }
  void setRate(double rate) {
    rate_ = rate;
    control_.setRate(rate);
  }
  // Nothing changes for `seconds`, and a frame comes every tenth of one.
  double rest(double seconds) {
    double bits = 0;
    for (int i = 0; i < seconds * 10; ++i) bits += encode({}, false, 100ms);
    return bits;
  }

  static constexpr Change kWhole{1, 1};
  static constexpr Change kScrolled{1, 0.003};

  QuantizerControl control_{kBlocks};
  Page page_;
  QuantizerControl::Time now_{};
  double rate_ = kRate;
  double queue_ = 0;
  double longestQueue_ = 0;  // In seconds, when a frame was added to it.
  int last_ = 0;
};

TEST_F(QuantizerControlTest, keepsTheFirstFrameToAFractionOfASecond) {
  page_.whole = 2.5e6;
  const double bits = encode(kWhole, true);
  EXPECT_LE(bits, kRate * 0.4);
  EXPECT_GT(bits, kRate * 0.15);
}

TEST_F(QuantizerControlTest, neverDropsAKeyFrame) {
  page_.whole = 1e8;
  for (int i = 0; i < 5; ++i) EXPECT_GT(encode(kWhole, true), 0);
}

TEST_F(QuantizerControlTest, codesAKeyFrameAgainOnlyWhenItIsTooLargeAndCanBeSmaller) {
  EXPECT_FALSE(control_.retryQuantizer(30, kWhole, true, kRate * 0.35));
  const auto better = control_.retryQuantizer(30, kWhole, true, kRate * 1.6);
  ASSERT_TRUE(better);
  EXPECT_GT(*better, 40);
  EXPECT_EQ(control_.retryQuantizer(45, kWhole, true, 1e9), QuantizerControl::kCoarsest);
  EXPECT_FALSE(control_.retryQuantizer(QuantizerControl::kCoarsest, kWhole, true, 1e9));
}

TEST_F(QuantizerControlTest, replacesAFrameThatFoundNothingAgainByACoarserKeyFrame) {
  EXPECT_FALSE(control_.retryQuantizer(30, kWhole, false, kRate * 0.35)) << "not much too large";
  EXPECT_EQ(control_.retryQuantizer(30, kWhole, false, kRate * 4), QuantizerControl::kCoarsest);
}

TEST_F(QuantizerControlTest, replacesNothingThatMakesAStillScreenFiner) {
  EXPECT_FALSE(control_.retryQuantizer(30, {}, false, kRate * 5));
}

TEST_F(QuantizerControlTest, codesAgainOnlyAtCoarserQuantizers) {
  for (int quantizer = QuantizerControl::kFinest; quantizer <= QuantizerControl::kCoarsest; ++quantizer) {
    for (const double seconds : {0.1, 0.53, 0.7, 1.0, 2.0, 10.0, 1e6}) {
      for (const bool key : {true, false}) {
        const auto better = control_.retryQuantizer(quantizer, kWhole, key, kRate * seconds);
        if (!better) continue;
        EXPECT_GT(*better, quantizer) << seconds;
        EXPECT_LE(*better, QuantizerControl::kCoarsest);
      }
    }
  }
}

// Of a page that has become sharp, on links from 0.5 to 6 Mbit/s.
TEST_F(QuantizerControlTest, sendsEveryFrameOfScrollingTextThatTheLinkCarries) {
  for (const double rate : {1e6, 2e6, 4e6, 6e6}) {
    setRate(rate);
    encode(kWhole, true);
    rest(20);
    longestQueue_ = 0;
    double bits = 0;
    int dropped = 0;
    for (int i = 0; i < 300; ++i) {
      const double each = encode(kScrolled);
      bits += each;
      dropped += each == 0;
    }
    EXPECT_LE(dropped, 15) << rate;
    EXPECT_LE(longestQueue_, 0.06) << rate;
    EXPECT_LE(bits, rate * 5.2) << rate;
    rest(5);
  }
}

TEST_F(QuantizerControlTest, usesTheCoarsestQuantizerBeforeItDropsFrames) {
  encode(kWhole, true);
  rest(20);
  page_.moved = 4e5;
  for (int i = 0; i < 60; ++i) encode(kScrolled);
  int dropped = 0;
  for (int i = 0; i < 60; ++i) {
    dropped += encode(kScrolled) == 0;
    EXPECT_GE(last_, QuantizerControl::kCoarsest - 1);
  }
  EXPECT_GT(dropped, 30);
}

// The link carries a third of the frames even at the coarsest quantizer.
TEST_F(QuantizerControlTest, dropsFramesEvenly) {
  encode(kWhole, true);
  rest(20);
  page_.moved = 2.4e5;
  for (int i = 0; i < 60; ++i) encode(kScrolled);
  std::vector<int> gaps;
  int gap = 0;
  for (int i = 0; i < 300; ++i) {
    ++gap;
    if (encode(kScrolled) == 0) continue;
    gaps.push_back(gap);
    gap = 0;
  }
  ASSERT_GT(gaps.size(), 60U);
  gaps.erase(gaps.begin());
  EXPECT_LE(std::ranges::max(gaps) - std::ranges::min(gaps), 1) << testing::PrintToString(gaps);
}

TEST_F(QuantizerControlTest, learnsTheCostOfMovedAndOfNewContentApart) {
  encode(kWhole, true);
  rest(20);
  for (int i = 0; i < 60; ++i) encode(kScrolled);
  const int moving = last_;
  now_ += 2s;
  encode(kWhole);
  EXPECT_GT(last_, 45) << "a new page";
  now_ += 2s;
  for (int i = 0; i < 30; ++i) encode(kScrolled);
  EXPECT_LE(last_, moving + 6);
}

TEST_F(QuantizerControlTest, saysWhenMovedContentCostsAsMuchAsANewPage) {
  encode(kWhole, true);
  rest(10);
  encode(kScrolled);
  EXPECT_FALSE(control_.searchFailed());
  page_.moved = 4e7;
  now_ += 1s;
  encode(kScrolled);
  EXPECT_TRUE(control_.searchFailed());
}

TEST_F(QuantizerControlTest, makesNothingFinerRightAfterAChange) {
  encode(kWhole, true);
  now_ += 2s;
  encode(kWhole);
  const int coarse = last_;
  ASSERT_GT(coarse, 30);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(encode({}, false, 100ms), 0);
  rest(1);
  EXPECT_LE(last_, coarse - 3);
}

TEST_F(QuantizerControlTest, makesAFrameAtRestSharpWithinTheRate) {
  encode(kWhole, true);
  const double bits = rest(15);
  EXPECT_EQ(last_, QuantizerControl::kFinest);
  EXPECT_LE(bits, kRate * 15);
  EXPECT_LE(longestQueue_, 0.06);
}

TEST_F(QuantizerControlTest, encodesNothingMoreOnceSharp) {
  page_.whole = 2e5;
  encode(kWhole, true);
  rest(10);
  EXPECT_EQ(last_, QuantizerControl::kFinest);
  for (int i = 0; i < 20; ++i) {
    now_ += 1s;
    EXPECT_FALSE(control_.plan({}, false, now_));
  }
}

TEST_F(QuantizerControlTest, holdsTheRateWhileEverythingIsNew) {
  encode(kWhole, true);
  double bits = 0;
  for (int i = 0; i < 600; ++i) bits += encode(kWhole);
  EXPECT_LE(bits, kRate * 10 * 1.1);
  EXPECT_GE(bits, kRate * 10 * 0.6);
  EXPECT_LE(longestQueue_, 0.06);
}

TEST_F(QuantizerControlTest, givesASmallChangeOnASharpScreenAFineQuantizer) {
  page_.whole = 4e5;
  encode(kWhole, true);
  rest(15);
  EXPECT_GT(encode(Change::whole(0.005)), 0);
  EXPECT_LE(last_, 20);
}

TEST_F(QuantizerControlTest, doesNotPayForTheCoarseRestWhenALittleChanges) {
  encode(kWhole, true);
  const int coarse = last_;
  now_ += 2s;
  const double bits = encode(Change::whole(0.002));
  EXPECT_GT(bits, 0);
  EXPECT_LE(bits, kRate * 0.1);
  EXPECT_GE(last_, coarse - 1);
}

// On half a megabit a second, on a page that is still coarse.
TEST_F(QuantizerControlTest, becomesFinerWhileSomethingNewLeavesTheLinkRoom) {
  setRate(3'000'000);
  encode(kWhole, true);
  for (int i = 0; i < 10; ++i) encode(kWhole, false, 33ms);
  const int coarse = last_;
  for (int i = 0; i < 300; ++i) encode({0.06, 0.06}, false, 33ms);
  EXPECT_LT(last_, coarse - 4);
  EXPECT_LT(longestQueue_, 0.6);
}

TEST_F(QuantizerControlTest, becomesFinerWhileTextScrollsByLinesBesideNewOnes) {
  page_.whole = 1e6;
  page_.moved = 3e4;
  encode(kWhole, true);
  for (int i = 0; i < 5; ++i) encode(kWhole, false, 33ms);
  const int coarse = last_;
  for (int i = 0; i < 600; ++i) {
    const bool isNew = i % 8 == 0;
    encode(isNew ? Change{0.083, 0.083} : Change{0.083, 0.002}, false, 33ms);
  }
  EXPECT_LT(last_, std::min(coarse - 4, 34));
}

TEST_F(QuantizerControlTest, showsEachTypedLetterAtOnce) {
  setRate(5e5);
  page_.whole = 1e6;
  encode(kWhole, true);
  rest(0.5);
  longestQueue_ = 0;
  int dropped = 0;
  for (int i = 0; i < 50; ++i) {
    dropped += encode(Change::whole(0.0005), false, 60ms) == 0;
    encode({}, false, 60ms);
  }
  EXPECT_LE(dropped, 5);
  EXPECT_LE(longestQueue_, 0.06);
}

TEST_F(QuantizerControlTest, followsARateThatFalls) {
  page_.whole = 1e6;
  encode(kWhole, true);
  for (int i = 0; i < 120; ++i) encode(kWhole);
  setRate(kRate / 4);
  for (int i = 0; i < 60; ++i) encode(kWhole);
  double bits = 0;
  for (int i = 0; i < 300; ++i) bits += encode(kWhole);
  EXPECT_LE(bits, kRate / 4 * 5 * 1.1);
}

TEST_F(QuantizerControlTest, sendsTheNextPartOfAPageWhenTheLinkHasRoom) {
  ASSERT_TRUE(control_.plan(kWhole, true, now_));
  EXPECT_GT(control_.firstPartBudget(), kRate * 0.2);
  control_.startPage(33);
  control_.encoded(33, Change::whole(0.1), false, kRate * 0.25);
  EXPECT_EQ(control_.nextPartBudget(now_), 0);
  EXPECT_NEAR(control_.nextPartBudget(now_ + 200ms), kRate * 0.29, kRate * 0.03);
}

TEST_F(QuantizerControlTest, acceptsAbsurdRatesAndTimes) {
  for (const double rate : {0.0, -5.0, 1e15}) {
    control_.setRate(rate);
    for (int i = 0; i < 20; ++i) {
      now_ += i % 2 ? 1h : -2h;
      const Change change = Change::whole(i % 3 / 2.0);
      if (const auto quantizer = control_.plan(change, i == 5, now_)) {
        EXPECT_GE(*quantizer, QuantizerControl::kFinest);
        EXPECT_LE(*quantizer, QuantizerControl::kCoarsest);
        control_.encoded(*quantizer, change, i == 5, i * 1e7);
      }
    }
  }
}

}  // namespace
}  // namespace vantora
