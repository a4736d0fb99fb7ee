#include <gtest/gtest.h>

#include "main/video/sharing/DisplaySize.h"
#include "main/video/sources/FrameSize.h"

namespace vantora {
namespace {

Display displayOf(const QRect& bounds) {
  Display display;
  display.bounds = bounds;
  return display;
}

TEST(PrimaryDisplayPixelSize, isThatOfTheDisplayWithTheIndex) {
  const std::vector<Display> displays{displayOf({0, 0, 1440, 900}), displayOf({1440, 0, 1921, 1081})};
  EXPECT_EQ(primaryDisplayPixelSize(displays, 0), QSize(1440, 900));
  EXPECT_EQ(primaryDisplayPixelSize(displays, 1), QSize(1921, 1081));
}

TEST(PrimaryDisplayPixelSize, isThatOfTheFirstDisplayForAnUnknownIndex) {
  const std::vector<Display> displays{displayOf({0, 0, 1440, 900}), displayOf({1440, 0, 1920, 1080})};
  EXPECT_EQ(primaryDisplayPixelSize(displays, 2), QSize(1440, 900));
  EXPECT_EQ(primaryDisplayPixelSize(displays, -1), QSize(1440, 900));
}

TEST(PrimaryDisplayPixelSize, is1280x720WithoutADisplay) {
  EXPECT_EQ(primaryDisplayPixelSize({}, 0), QSize(1280, 720));
}

TEST(FrameSize, isTheRequestWhereverItIsSensible) {
  for (const QSize size :
       {QSize(16, 16), QSize(1280, 720), QSize(1921, 1081), QSize(3840, 2160), QSize(3440, 1440), QSize(4096, 2304)}) {
    EXPECT_EQ(frameSizeFor(size.width(), size.height()), size);
  }
}

TEST(FrameSize, isBoundedForEveryRequest) {
  EXPECT_EQ(frameSizeFor(0, -5), QSize(16, 16));
  EXPECT_EQ(frameSizeFor(2147483647, 16), QSize(8192, 16));
  EXPECT_EQ(frameSizeFor(2147483647, 2147483647), QSize(3072, 3072));
  // The largest preset on a wide display: larger than H.264 encoders accept.
  EXPECT_EQ(frameSizeFor(5152, 2160), QSize(4736, 1984));
  EXPECT_EQ(frameSizeFor(7680, 4320), QSize(4096, 2304));
}

}  // namespace
}  // namespace vantora
