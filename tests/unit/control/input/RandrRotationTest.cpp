#include <gtest/gtest.h>
#include <xcb/randr.h>

#include "platform/x11/RandrRotation.h"

namespace vantora {
namespace {

TEST(RandrRotation, turnsCounterClockwiseIntoClockwise) {
  EXPECT_EQ(clockwiseDegrees(XCB_RANDR_ROTATION_ROTATE_0), 0);
  EXPECT_EQ(clockwiseDegrees(XCB_RANDR_ROTATION_ROTATE_90), 270);
  EXPECT_EQ(clockwiseDegrees(XCB_RANDR_ROTATION_ROTATE_180), 180);
  EXPECT_EQ(clockwiseDegrees(XCB_RANDR_ROTATION_ROTATE_270), 90);
}

TEST(RandrRotation, overlooksReflections) {
  EXPECT_EQ(clockwiseDegrees(XCB_RANDR_ROTATION_REFLECT_X), 0);
  EXPECT_EQ(clockwiseDegrees(XCB_RANDR_ROTATION_ROTATE_270 | XCB_RANDR_ROTATION_REFLECT_Y), 90);
}

}  // namespace
}  // namespace vantora
