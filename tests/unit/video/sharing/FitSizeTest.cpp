#include <gtest/gtest.h>

#include "main/video/sharing/FitSize.h"

namespace vantora {
namespace {

TEST(FitSizeTest, scalesDownToTheDisplayWithItsAspectRatioKept) {
  EXPECT_EQ(fitToDisplay({1920, 1080}, {1440, 900}), QSize(1440, 810));
  EXPECT_EQ(fitToDisplay({1280, 720}, {1000, 700}), QSize(1000, 562));
  EXPECT_EQ(fitToDisplay({1280, 720}, {2000, 360}), QSize(640, 360));
}

TEST(FitSizeTest, neverScalesUp) {
  EXPECT_EQ(fitToDisplay({1280, 720}, {1280, 720}), QSize(1280, 720));
  EXPECT_EQ(fitToDisplay({1280, 720}, {7680, 4320}), QSize(1280, 720));
}

TEST(FitSizeTest, makesOddSizesEven) {
  EXPECT_EQ(fitToDisplay({1281, 721}, {4000, 4000}), QSize(1280, 720));
  EXPECT_EQ(fitToDisplay({17, 17}, {4000, 4000}), QSize(16, 16));
}

TEST(FitSizeTest, staysAtSixteenOrMoreOnATinyDisplay) {
  EXPECT_EQ(fitToDisplay({1280, 720}, {20, 20}), QSize(20, 16));
  EXPECT_EQ(fitToDisplay({1280, 720}, {0, 0}), QSize(16, 16));
  EXPECT_EQ(fitToDisplay({1280, 720}, {-5, 700}), QSize(16, 16));
}

}  // namespace
}  // namespace vantora
