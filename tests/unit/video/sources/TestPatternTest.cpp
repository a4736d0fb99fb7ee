#include <gtest/gtest.h>

#include "main/video/sources/TestPattern.h"
#include "tests/unit/video/sources/SourceTesting.h"
#include "third_party/libyuv/include/libyuv/convert.h"

namespace vantora {
namespace {

using Pixel = std::array<std::uint8_t, 4>;
constexpr Pixel kBlue{255, 0, 0, 255};
constexpr Pixel kCyan{255, 255, 0, 255};
constexpr Pixel kGreen{0, 255, 0, 255};
constexpr Pixel kYellow{0, 255, 255, 255};
constexpr Pixel kRed{0, 0, 255, 255};
constexpr Pixel kMagenta{255, 0, 255, 255};
constexpr Pixel kBlack{0, 0, 0, 255};

TEST(TestPattern, showsSixBarsInOrder) {
  const auto image = makePixelBuffer(600, 100, 0);
  ASSERT_TRUE(image);
  const Pixel bars[] = {kBlue, kCyan, kGreen, kYellow, kRed, kMagenta};
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(image->pixel(i * 100, 0), bars[i]);
    EXPECT_EQ(image->pixel(i * 100 + 99, 99), bars[i]);
  }
}

TEST(TestPattern, beginsAgainWithBlueInLeftOverColumns) {
  const auto image = makePixelBuffer(1280, 720, 0);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->pixel(212, 0), kBlue);
  EXPECT_EQ(image->pixel(213, 0), kCyan);
  EXPECT_EQ(image->pixel(1277, 0), kMagenta);
  EXPECT_EQ(image->pixel(1278, 0), kBlue);
  EXPECT_EQ(image->pixel(1279, 719), kBlue);
}

TEST(TestPattern, makesBarsAtLeastOneColumnWide) {
  const auto image = makePixelBuffer(4, 1, 0);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->pixel(0, 0), kBlue);
  EXPECT_EQ(image->pixel(3, 0), kYellow);
}

TEST(TestPattern, paintsTheBoxInRows40To79) {
  const auto image = makePixelBuffer(1280, 720, 10.0);  // Column 600.
  ASSERT_TRUE(image);
  EXPECT_NE(image->pixel(600, 39), kBlack);
  EXPECT_EQ(image->pixel(600, 40), kBlack);
  EXPECT_EQ(image->pixel(600, 79), kBlack);
  EXPECT_NE(image->pixel(600, 80), kBlack);
  EXPECT_NE(image->pixel(579, 60), kBlack);
  EXPECT_EQ(image->pixel(580, 60), kBlack);
  EXPECT_EQ(image->pixel(619, 60), kBlack);
  EXPECT_NE(image->pixel(620, 60), kBlack);
}

TEST(TestPattern, movesTheBox60ColumnsASecondAndWrapsItAtTheEdge) {
  EXPECT_EQ(boxColumns(1280, 10.0), (BoxColumns{580, 620}));
  EXPECT_EQ(boxColumns(1280, 10.5), (BoxColumns{610, 650}));
  EXPECT_EQ(boxColumns(1280, 10.0 + 1280 / 60.0), (BoxColumns{580, 620}));
  // 105821359559 columns travelled, 199 of them since the last wrap.
  EXPECT_EQ(boxColumns(1280, 1763689325.99), (BoxColumns{179, 219}));
}

TEST(TestPattern, cutsTheBoxOffAtBothEdges) {
  EXPECT_EQ(boxColumns(1280, 0.1), (BoxColumns{0, 26}));
  EXPECT_EQ(boxColumns(1280, 1270 / 60.0 + 0.001), (BoxColumns{1250, 1280}));
  EXPECT_EQ(boxColumns(16, 0.1), (BoxColumns{0, 16}));
}

TEST(TestPattern, cutsTheBoxOffAtTheLastRow) {
  const auto low = makePixelBuffer(640, 50, 5.0);
  ASSERT_TRUE(low);
  EXPECT_EQ(low->bytes.size(), 640u * 50u * 4u);
  EXPECT_EQ(low->pixel(300, 49), kBlack);
  const auto lower = makePixelBuffer(640, 16, 5.0);
  ASSERT_TRUE(lower);
  EXPECT_NE(lower->pixel(300, 15), kBlack);
}

TEST(TestPattern, makesNothingWithoutASize) {
  EXPECT_FALSE(makePixelBuffer(0, 100, 0));
  EXPECT_FALSE(makePixelBuffer(100, -1, 0));
}

rtc::scoped_refptr<webrtc::I420Buffer> converted(const BgraImage& image) {
  auto frame = webrtc::I420Buffer::Create(image.width, image.height);
  libyuv::ARGBToI420(image.bytes.data(), image.stride, frame->MutableDataY(), frame->StrideY(), frame->MutableDataU(),
                     frame->StrideU(), frame->MutableDataV(), frame->StrideV(), image.width, image.height);
  return frame;
}

struct Case {
  int width;
  int height;
  double time;
};

class TestPatternFrames : public testing::TestWithParam<Case> {};

TEST_P(TestPatternFrames, paintsExactlyWhatConvertingTheImageGives) {
  const auto [width, height, time] = GetParam();
  const auto image = makePixelBuffer(width, height, time);
  ASSERT_TRUE(image);
  const TestPattern pattern(width, height);
  auto frame = webrtc::I420Buffer::Create(width, height);
  pattern.paint(*frame, time + 3);  // What an older frame left behind must not show.
  pattern.paint(*frame, time);
  EXPECT_TRUE(testsupport::sameImage(*frame, *converted(*image)));
}

INSTANTIATE_TEST_SUITE_P(Sizes, TestPatternFrames,
                         testing::Values(Case{1280, 720, 10.0}, Case{1280, 720, 1763689325.99}, Case{1280, 720, 0.1},
                                         Case{1920, 1080, 31.9}, Case{3840, 2160, 100.2}, Case{1281, 721, 21.3},
                                         Case{641, 45, 5.0}, Case{640, 80, 5.0}, Case{640, 79, 5.0}, Case{640, 40, 5.0},
                                         Case{640, 41, 5.0}, Case{16, 16, 5.0}, Case{17, 2160, 5.0},
                                         Case{3840, 16, 1.0}));

}  // namespace
}  // namespace vantora
