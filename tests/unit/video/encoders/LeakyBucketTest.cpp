#include <gtest/gtest.h>

#include "main/video/encoders/LeakyBucket.h"

namespace vantora {
namespace {

constexpr int64_t kSecond = 1'000'000;

TEST(LeakyBucket, isEmptyAtFirst) {
  LeakyBucket bucket;
  EXPECT_EQ(bucket.seconds(5 * kSecond), 0);
}

TEST(LeakyBucket, leaksAtTheRateUntilItIsEmpty) {
  LeakyBucket bucket;
  bucket.setRate(2'000'000);
  EXPECT_EQ(bucket.seconds(7 * kSecond), 0);
  bucket.add(1'000'000);
  bucket.add(3'000'000);
  EXPECT_DOUBLE_EQ(bucket.seconds(7 * kSecond), 2);
  EXPECT_DOUBLE_EQ(bucket.seconds(8 * kSecond), 1);
  EXPECT_DOUBLE_EQ(bucket.seconds(8 * kSecond), 1);
  EXPECT_DOUBLE_EQ(bucket.seconds(20 * kSecond), 0);
  bucket.add(1'000'000);
  EXPECT_DOUBLE_EQ(bucket.seconds(20 * kSecond), 0.5) << "the time before the bits came drained nothing of them";
}

TEST(LeakyBucket, takesLongerAtALowerRate) {
  LeakyBucket bucket;
  bucket.setRate(1'000'000);
  bucket.seconds(0);
  bucket.add(1'000'000);
  bucket.setRate(250'000);
  EXPECT_DOUBLE_EQ(bucket.seconds(0), 4);
  EXPECT_DOUBLE_EQ(bucket.seconds(kSecond), 3);
}

TEST(LeakyBucket, countsTimeThatRunsBackwardsAsNone) {
  LeakyBucket bucket;
  bucket.setRate(1'000'000);
  bucket.seconds(10 * kSecond);
  bucket.add(1'000'000);
  EXPECT_DOUBLE_EQ(bucket.seconds(9 * kSecond), 1);
  EXPECT_DOUBLE_EQ(bucket.seconds(9 * kSecond + kSecond / 2), 0.5);
}

TEST(LeakyBucket, acceptsZeroRates) {
  LeakyBucket bucket;
  for (const double rate : {0.0, -1e9}) {
    bucket.setRate(rate);
    bucket.add(10);
    EXPECT_GE(bucket.seconds(0), 10);
    EXPECT_DOUBLE_EQ(bucket.seconds(100 * kSecond), 0);
    bucket = {};
  }
}

}  // namespace
}  // namespace vantora
