#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "main/video/encoders/EncoderLoad.h"

namespace vantora {
namespace {

constexpr int64_t kTickUs = 16'667;

class EncoderLoadTest : public testing::Test {
 protected:
  // Lets a frame come at each of `ticks`; each that is encoded takes `cpu` seconds. The ticks, counted from the first
  // of this call, in which one was.
  std::vector<int> run(int ticks, double cpu, int64_t tickUs = kTickUs) {
    std::vector<int> encoded;
    for (int i = 0; i < ticks; ++i) {
      now_ += tickUs;
      if (!load_.isDue(now_)) continue;
      load_.encoded(now_, cpu, false);
      encoded.push_back(i);
    }
    return encoded;
  }
  // The steps between the frames of `encoded` from `from` on, without repetitions.
  static std::vector<int> steps(const std::vector<int>& encoded, int from) {
    std::vector<int> steps;
    for (size_t i = 1; i < encoded.size(); ++i) {
      if (encoded[i - 1] >= from) steps.push_back(encoded[i] - encoded[i - 1]);
    }
    std::ranges::sort(steps);
    steps.erase(std::unique(steps.begin(), steps.end()), steps.end());
    return steps;
  }

  EncoderLoad load_{2};
  int64_t now_ = 0;
};

TEST_F(EncoderLoadTest, leavesNothingOutThatFits) {
  EXPECT_EQ(run(600, 0.014).size(), 600U);
  EXPECT_EQ(load_.every(), 1);
}

TEST_F(EncoderLoadTest, leavesFramesOutAtASteadyStep) {
  EXPECT_EQ(steps(run(600, 0.025), 30), std::vector{2});
  EXPECT_EQ(steps(run(600, 0.04), 30), std::vector{3});
  EXPECT_EQ(steps(run(1000, 0.17), 500), std::vector{12});
}

TEST_F(EncoderLoadTest, takesNoMoreThanItsShareOfTheMachine) {
  for (const double cpu : {0.02, 0.03, 0.05, 0.08, 0.3}) {
    run(60, cpu);
    const auto frames = static_cast<double>(run(600, cpu).size());
    EXPECT_LE(frames * cpu / (600 * kTickUs * 1e-6), 1.05 * 2 * EncoderLoad::kShare) << cpu;
  }
}

TEST_F(EncoderLoadTest, allowsMoreOnMoreCores) {
  load_ = EncoderLoad(4);
  EXPECT_EQ(run(600, 0.025).size(), 600U);
}

TEST_F(EncoderLoadTest, keepsItsStepWhileTheCostVariesALittle) {
  run(60, 0.025);
  std::vector<int> encoded;
  for (int i = 0; i < 100; ++i) {
    for (const int tick : run(6, i % 2 == 0 ? 0.022 : 0.029)) encoded.push_back(6 * i + tick);
  }
  EXPECT_EQ(steps(encoded, 0), std::vector{2});
}

TEST_F(EncoderLoadTest, endsWhenFramesBecomeCheap) {
  run(120, 0.035);
  EXPECT_EQ(load_.every(), 3);
  run(60, 0.002);
  EXPECT_EQ(run(60, 0.002).size(), 60U);
}

TEST_F(EncoderLoadTest, delaysNoSingleChange) {
  run(120, 0.05);
  now_ += 200'000;
  EXPECT_EQ(run(50, 0.05, 250'000).size(), 50U);
}

TEST_F(EncoderLoadTest, delaysNothingAfterAPauseUntilMuchHasCome) {
  run(120, 0.05);
  now_ += 1'000'000;
  EXPECT_GE(run(4, 0.05).size(), 4U);
}

TEST_F(EncoderLoadTest, delaysNothingAfterAKeyFrame) {
  ASSERT_TRUE(load_.isDue(now_));
  load_.encoded(now_, 0.3, true);
  EXPECT_EQ(run(10, 0.002).size(), 10U);
}

TEST_F(EncoderLoadTest, takesTimeThatRunsBackwardsForNone) {
  run(120, 0.05);
  now_ -= 10'000'000;
  EXPECT_FALSE(run(10, 0.05).empty());
}

}  // namespace
}  // namespace vantora
