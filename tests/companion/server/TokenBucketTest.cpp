#include <gtest/gtest.h>

#include "companion/server/TokenBucket.h"

namespace vantora::companion {
namespace {

using namespace std::chrono_literals;

TEST(TokenBucketTest, letsABurstPassAndThenHoldsTheRate) {
  TokenBucket bucket({.burst = 5, .perSecond = 2}, 0s);
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(bucket.take(1, 0s));
  EXPECT_FALSE(bucket.take(1, 0s));
  EXPECT_FALSE(bucket.take(1, 499ms));
  EXPECT_TRUE(bucket.take(1, 500ms));
  EXPECT_FALSE(bucket.take(1, 500ms));
}

TEST(TokenBucketTest, savesNoMoreThanOneBurst) {
  TokenBucket bucket({.burst = 3, .perSecond = 10}, 0s);
  EXPECT_TRUE(bucket.take(3, 1h));
  EXPECT_FALSE(bucket.take(1, 1h));
}

TEST(TokenBucketTest, aRefusalCostsNothing) {
  TokenBucket bucket({.burst = 2, .perSecond = 1}, 0s);
  EXPECT_FALSE(bucket.take(3, 0s));
  EXPECT_TRUE(bucket.take(2, 0s));
}

}  // namespace
}  // namespace vantora::companion
