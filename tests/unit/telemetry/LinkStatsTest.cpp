#include <gtest/gtest.h>

#include <vector>

#include "main/telemetry/LinkStats.h"
#include "tests/fakes/FakeScheduler.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class LinkStatsTest : public testing::Test {
 protected:
  // Four times a second, as the statistics do; each request is answered by `sample`.
  void passSecond(const LinkSample& sample) {
    for (int quarter = 0; quarter < 4; ++quarter) {
      scheduler_.advance(250ms);
      (void)stats_.get();
      for (const auto& answer : std::exchange(requests_, {})) answer(sample);
    }
  }

  fakes::FakeScheduler scheduler_;
  std::vector<LinkStats::Answer> requests_;
  LinkStats stats_{scheduler_, [this](LinkStats::Answer answer) { requests_.push_back(std::move(answer)); }};
};

TEST_F(LinkStatsTest, hasNoFiguresBeforeTheFirstSample) {
  EXPECT_EQ(stats_.get(), std::nullopt);
  EXPECT_EQ(stats_.get(), std::nullopt);
  EXPECT_EQ(requests_.size(), 1U);
}

TEST_F(LinkStatsTest, requestsOneSampleEachSecond) {
  int requests = 0;
  for (int quarter = 0; quarter < 40; ++quarter) {
    (void)stats_.get();
    requests += static_cast<int>(requests_.size());
    for (const auto& answer : std::exchange(requests_, {})) answer({.estimateBps = 1e6});
    scheduler_.advance(250ms);
  }
  EXPECT_EQ(requests, 10);
}

TEST_F(LinkStatsTest, tellsTheEstimateTheCodecAndTheTimeForAFrame) {
  passSecond({.estimateBps = 1'849'600, .framesEncoded = 100, .encodeSeconds = 2, .codec = u"AV1"_s});
  EXPECT_EQ(stats_.get(), (JsonObject{{u"estimateKbps"_s, 1850}, {u"codec"_s, u"AV1"_s}}));
  passSecond({.estimateBps = 2'000'000, .framesEncoded = 130, .encodeSeconds = 2.5, .codec = u"AV1"_s});
  EXPECT_EQ(stats_.get(), (JsonObject{{u"estimateKbps"_s, 2000}, {u"encodeMs"_s, 16.7}, {u"codec"_s, u"AV1"_s}}));
}

TEST_F(LinkStatsTest, hasNoTimeForAFrameWhileNoneIsEncoded) {
  const LinkSample sample{.framesEncoded = 100, .encodeSeconds = 2, .codec = u"H264"_s};
  passSecond(sample);
  passSecond(sample);
  EXPECT_EQ(stats_.get(), (JsonObject{{u"codec"_s, u"H264"_s}}));
  passSecond({.framesEncoded = 5, .encodeSeconds = 0.1, .codec = u"H264"_s});
  EXPECT_EQ(stats_.get(), (JsonObject{{u"codec"_s, u"H264"_s}}));
}

TEST_F(LinkStatsTest, servesNothingWhenNothingIsKnown) {
  passSecond({});
  EXPECT_EQ(stats_.get(), std::nullopt);
}

TEST_F(LinkStatsTest, servesNoOldFigures) {
  passSecond({.estimateBps = 1e6});
  scheduler_.advance(2s);
  EXPECT_TRUE(stats_.get());
  scheduler_.advance(1s);
  EXPECT_EQ(stats_.get(), std::nullopt);
}

TEST_F(LinkStatsTest, forgetsAnEarlierConnection) {
  passSecond({.estimateBps = 1e6});
  scheduler_.advance(1s);
  (void)stats_.get();
  const auto late = std::exchange(requests_, {});
  ASSERT_EQ(late.size(), 1U);
  stats_.reset();
  late.front()({.estimateBps = 9e6});
  EXPECT_EQ(stats_.get(), std::nullopt);
  EXPECT_EQ(requests_.size(), 1U);
}

}  // namespace
}  // namespace vantora
