#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "main/video/encoders/QuantizerControl.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;

constexpr double kRate = 1'000'000;
constexpr double kFps = 15;
constexpr int kBlocks = 3600;

// A model of an encoder on a page of text: the size follows from the quantizer; a finer quantizer encodes the unchanged
// part again.
struct Page {
  double whole = 4e6;  // Bits at quantizer 26.
  int there = 51;

  double bits(int quantizer, double changed, bool key) {
    const auto at = [this](int q) { return whole * std::exp2((26 - q) / 7.0); };
    const double part = key ? 1 : changed;
    const double refined = quantizer < there && !key ? (1 - part) * (at(quantizer) - at(there)) : 0;
    there = key ? quantizer : std::min(there, quantizer);
    return part * at(quantizer) + refined;
  }
};

class QuantizerControlTest : public testing::Test {
 protected:
  QuantizerControlTest() { control_.setRates(kRate, kFps); }

  // Encodes one frame; returns its bits, 0 if it was dropped.
  double encode(double changed, bool key = false) {
    now_ += 1'000'000'000ns / static_cast<int>(kFps);
    auto planned = control_.plan(changed, key, now_);
    if (!planned) return 0;
    double bits = page_.bits(*planned, changed, key);
    if (key) {
      if (const auto better = control_.retryQuantizer(*planned, changed, true, bits)) {
        planned = better;
        bits = page_.bits(*planned, changed, key);
      }
    }
    control_.encoded(*planned, changed, key, bits);
    last_ = *planned;
    return bits;
  }

  QuantizerControl control_{kBlocks};
  Page page_;
  QuantizerControl::Time now_{};
  int last_ = 0;
};

TEST_F(QuantizerControlTest, keepsTheFirstFrameToAFractionOfASecond) {
  const double bits = encode(1, true);
  EXPECT_LE(bits, kRate * 0.55);
  EXPECT_GT(bits, kRate * 0.2);
}

TEST_F(QuantizerControlTest, neverLeavesAKeyFrameOut) {
  page_.whole = 1e8;
  for (int i = 0; i < 5; ++i) EXPECT_GT(encode(1, true), 0);
}

TEST_F(QuantizerControlTest, codesAKeyFrameAgainOnlyWhenItIsTooLargeAndCanBeSmaller) {
  const auto planned = control_.plan(1, true, now_);
  ASSERT_TRUE(planned);
  EXPECT_FALSE(control_.retryQuantizer(30, 1, true, kRate * 0.4));
  const auto better = control_.retryQuantizer(30, 1, true, kRate * 1.6);
  ASSERT_TRUE(better);
  EXPECT_EQ(*better, 44);
  EXPECT_EQ(control_.retryQuantizer(45, 1, true, 1e9), QuantizerControl::kCoarsest);
  EXPECT_FALSE(control_.retryQuantizer(QuantizerControl::kCoarsest, 1, true, 1e9));
}

TEST_F(QuantizerControlTest, replacesAFrameThatFoundNothingAgainByACoarserKeyFrame) {
  EXPECT_FALSE(control_.retryQuantizer(30, 1, false, kRate * 0.5)) << "not much too large";
  EXPECT_EQ(control_.retryQuantizer(30, 1, false, kRate * 4), QuantizerControl::kCoarsest);
  EXPECT_EQ(control_.retryQuantizer(30, 1, false, kRate * 0.7), 39) << "a page of 1.44 Mbit at 26, in 0.4 s";
}

TEST_F(QuantizerControlTest, letsWhatMakesAScreenFinerTakeASecond) {
  EXPECT_FALSE(control_.retryQuantizer(30, 0, false, kRate * 0.95));
  EXPECT_TRUE(control_.retryQuantizer(30, 0, false, kRate * 2));
}

TEST_F(QuantizerControlTest, leavesALargeFrameAloneThatWouldBeNoSmallerAsAKeyFrame) {
  page_.whole = 2e7;
  for (int i = 0; i < 5; ++i) encode(1, true);
  ASSERT_EQ(last_, QuantizerControl::kCoarsest);
  EXPECT_FALSE(control_.retryQuantizer(QuantizerControl::kCoarsest, 1, false, kRate * 0.8))
      << "a key frame takes 1.7 s";
  EXPECT_FALSE(control_.retryQuantizer(40, 1, false, kRate * 0.8));
  EXPECT_EQ(control_.retryQuantizer(40, 1, false, kRate * 5), QuantizerControl::kCoarsest);
}

TEST_F(QuantizerControlTest, codesAgainOnlyAtCoarserQuantizers) {
  for (int quantizer = QuantizerControl::kFinest; quantizer <= QuantizerControl::kCoarsest; ++quantizer) {
    for (const double seconds : {0.1, 0.53, 0.7, 1.0, 2.0, 10.0, 1e6}) {
      for (const bool key : {true, false}) {
        const auto better = control_.retryQuantizer(quantizer, 1, key, kRate * seconds);
        if (!better) continue;
        EXPECT_GT(*better, quantizer) << seconds;
        EXPECT_LE(*better, QuantizerControl::kCoarsest);
      }
    }
  }
}

// Scrolling text has moments without a change.
TEST_F(QuantizerControlTest, makesNothingFinerRightAfterAChange) {
  encode(1, true);
  now_ += 2s;
  encode(1);
  const int coarse = last_;
  ASSERT_GT(coarse, 30);
  encode(0);  // 67 ms later.
  EXPECT_EQ(last_, coarse);
  encode(0);
  EXPECT_LT(last_, coarse - 2);
}

TEST_F(QuantizerControlTest, makesAFrameAtRestSharpWithinTheRate) {
  encode(1, true);
  double bits = 0;
  int frames = 0;
  while (last_ > 20 && frames < 300) {
    bits += encode(0);
    ++frames;
  }
  EXPECT_LE(last_, 20);
  const double seconds = frames / kFps;
  EXPECT_LE(bits, kRate * (seconds + 1));
  // A page costs 7.2 Mbit at quantizer 20.
  EXPECT_LE(seconds, 12);
}

TEST_F(QuantizerControlTest, spendsNothingMoreOnceSharp) {
  page_.whole = 2e5;
  encode(1, true);
  for (int i = 0; i < 100; ++i) encode(0);
  const int sharp = last_;
  EXPECT_LE(sharp, QuantizerControl::kFinest + 3);
  EXPECT_EQ(encode(0), 0);
}

TEST_F(QuantizerControlTest, holdsTheRateWhileEverythingChanges) {
  encode(1, true);
  double bits = 0;
  for (int i = 0; i < 150; ++i) bits += encode(1);
  EXPECT_LE(bits, kRate * 10 * 1.05);
  EXPECT_GE(bits, kRate * 10 * 0.6);
}

TEST_F(QuantizerControlTest, leavesNoGapsWhileEverythingChangesAndTheRateAllowsIt) {
  page_.whole = 6e5;
  encode(1, true);
  for (int i = 0; i < 15; ++i) encode(1);
  int out = 0;
  for (int i = 0; i < 150; ++i) out += encode(1) == 0 ? 1 : 0;
  EXPECT_LE(out, 8);
}

TEST_F(QuantizerControlTest, leavesFramesOutRatherThanQueueThem) {
  page_.whole = 4e7;  // 3.3 Mbit even at the coarsest.
  double queued = 0;
  double worst = 0;
  encode(1, true);
  queued = kRate;
  int taken = 0;
  for (int i = 0; i < 150; ++i) {
    const double bits = encode(1);
    queued = std::max(queued - kRate / kFps, 0.0);
    if (bits > 0) {
      ++taken;
      worst = std::max(worst, queued);
    }
    queued += bits;
  }
  EXPECT_GT(taken, 0);
  EXPECT_LE(worst, kRate * 0.3);
}

TEST_F(QuantizerControlTest, givesASmallChangeOnASharpScreenAFineQuantizer) {
  page_.whole = 4e5;
  encode(1, true);
  for (int i = 0; i < 150; ++i) encode(0);
  EXPECT_GT(encode(0.005), 0);
  EXPECT_LE(last_, 20);
}

TEST_F(QuantizerControlTest, doesNotPayForTheCoarseRestWhenALittleChanges) {
  encode(1, true);
  const int coarse = last_;
  const double bits = encode(0.002);
  EXPECT_LE(bits, kRate * 0.3);
  EXPECT_GE(last_, coarse - 2);
}

TEST_F(QuantizerControlTest, followsARateThatFalls) {
  page_.whole = 1e6;
  encode(1, true);
  for (int i = 0; i < 30; ++i) encode(1);
  control_.setRates(kRate / 4, kFps);
  for (int i = 0; i < 15; ++i) encode(1);
  double bits = 0;
  for (int i = 0; i < 75; ++i) bits += encode(1);
  EXPECT_LE(bits, kRate / 4 * 5 * 1.1);
}

TEST_F(QuantizerControlTest, acceptsAbsurdRatesAndTimes) {
  for (const double rate : {0.0, -5.0, 1e15}) {
    control_.setRates(rate, rate);
    for (int i = 0; i < 20; ++i) {
      now_ += i % 2 ? 1h : -2h;
      if (const auto quantizer = control_.plan(i % 3 / 2.0, i == 5, now_)) {
        EXPECT_GE(*quantizer, QuantizerControl::kFinest);
        EXPECT_LE(*quantizer, QuantizerControl::kCoarsest);
        control_.encoded(*quantizer, i % 3 / 2.0, i == 5, i * 1e7);
      }
    }
  }
}

}  // namespace
}  // namespace vantora
