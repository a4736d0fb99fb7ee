#include <gtest/gtest.h>

#include "main/video/sdp/BitrateHints.h"

namespace vantora {
namespace {

constexpr std::nullopt_t kNone = std::nullopt;

TEST(BitrateHintValues, followFromTheMaximum) {
  EXPECT_EQ(bitrateHints(3000, kNone, kNone, kNone), (BitrateHints{2100, 2550, 3000}));
}

TEST(BitrateHintValues, raiseTheMaximumFirstAndDeriveFromThat) {
  EXPECT_EQ(bitrateHints(300, kNone, kNone, kNone), (BitrateHints{350, 425, 500}));
  EXPECT_EQ(bitrateHints(499, kNone, kNone, kNone).maxKbps, 500);
  EXPECT_EQ(bitrateHints(501, kNone, kNone, kNone).maxKbps, 501);
}

TEST(BitrateHintValues, raiseAnOverriddenMaximumToo) {
  EXPECT_EQ(bitrateHints(3000, kNone, kNone, 100), (BitrateHints{350, 425, 500}));
}

TEST(BitrateHintValues, preferTheOverriddenMaximum) {
  EXPECT_EQ(bitrateHints(3000, kNone, kNone, 1000), (BitrateHints{700, 850, 1000}));
}

TEST(BitrateHintValues, takeTheOtherOverridesAsTheyAre) {
  EXPECT_EQ(bitrateHints(3000, 1, 99999, kNone), (BitrateHints{1, 99999, 3000}));
}

TEST(BitrateHintValues, dropFractions) {
  EXPECT_EQ(bitrateHints(1001, kNone, kNone, kNone), (BitrateHints{700, 850, 1001}));
  EXPECT_EQ(bitrateHints(1999, kNone, kNone, kNone), (BitrateHints{1399, 1699, 1999}));
}

TEST(BitrateHintValues, takeAnyMaximum) {
  EXPECT_EQ(bitrateHints(-5, kNone, kNone, kNone).maxKbps, 500);
  EXPECT_EQ(bitrateHints(2'000'000, kNone, kNone, kNone), (BitrateHints{1'400'000, 1'700'000, 2'000'000}));
}

}  // namespace
}  // namespace vantora
