#include "main/video/sources/PatternPainter.h"
#include "main/video/sources/TestPattern.h"
#include "tests/unit/video/sources/SourceTesting.h"
#include "third_party/libyuv/include/libyuv/convert.h"

namespace vantora {
namespace {

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

class PatternPainterTest : public testing::TestWithParam<Case> {};

TEST_P(PatternPainterTest, paintsExactlyWhatConvertingTheImageGives) {
  const auto [width, height, time] = GetParam();
  const auto image = makePixelBuffer(width, height, time);
  ASSERT_TRUE(image);
  const PatternPainter painter(width, height);
  auto frame = webrtc::I420Buffer::Create(width, height);
  painter.paint(*frame, time + 3);  // What an older frame left behind must not show.
  painter.paint(*frame, time);
  EXPECT_TRUE(testing_support::samePicture(*frame, *converted(*image)));
}

INSTANTIATE_TEST_SUITE_P(Sizes, PatternPainterTest,
                         testing::Values(Case{1280, 720, 10.0}, Case{1280, 720, 1763689325.99}, Case{1280, 720, 0.1},
                                         Case{1920, 1080, 31.9}, Case{3840, 2160, 100.2}, Case{1281, 721, 21.3},
                                         Case{641, 45, 5.0}, Case{640, 80, 5.0}, Case{640, 79, 5.0}, Case{640, 40, 5.0},
                                         Case{640, 41, 5.0}, Case{16, 16, 5.0}, Case{17, 2160, 5.0},
                                         Case{3840, 16, 1.0}));

}  // namespace
}  // namespace vantora
