#include <random>

#include "main/video/sources/FrameConverter.h"
#include "tests/unit/video/sources/SourceTesting.h"
#include "third_party/libyuv/include/libyuv/convert.h"
#include "third_party/libyuv/include/libyuv/scale.h"

namespace vantora {
namespace {

// A display with a random picture and padded rows.
class Canvas {
 public:
  Canvas(int width, int height)
      : width_(width), height_(height), bytes_(static_cast<std::size_t>(stride()) * static_cast<std::size_t>(height)) {
    scribble(0, height);
  }
  void scribble(int top, int bottom) {
    for (int i = top * stride(); i < bottom * stride(); ++i) bytes_[static_cast<std::size_t>(i)] = noise();
  }
  ScreenPicture picture(int top, int bottom) const { return {bytes_.data(), stride(), width_, height_, top, bottom}; }
  ScreenPicture picture() const { return picture(0, height_); }
  int stride() const { return width_ * 4 + 24; }

 private:
  std::uint8_t noise() { return static_cast<std::uint8_t>(random_()); }

  int width_;
  int height_;
  std::vector<std::uint8_t> bytes_;
  std::mt19937 random_{42};
};

rtc::scoped_refptr<webrtc::I420Buffer> whole(const ScreenPicture& picture) {
  auto frame = webrtc::I420Buffer::Create(picture.width, picture.height);
  libyuv::ARGBToI420(picture.bgra, picture.stride, frame->MutableDataY(), frame->StrideY(), frame->MutableDataU(),
                     frame->StrideU(), frame->MutableDataV(), frame->StrideV(), picture.width, picture.height);
  return frame;
}

rtc::scoped_refptr<webrtc::I420Buffer> scaled(const webrtc::I420Buffer& from, int width, int height) {
  auto to = webrtc::I420Buffer::Create(width, height);
  libyuv::I420Scale(from.DataY(), from.StrideY(), from.DataU(), from.StrideU(), from.DataV(), from.StrideV(),
                    from.width(), from.height(), to->MutableDataY(), to->StrideY(), to->MutableDataU(), to->StrideU(),
                    to->MutableDataV(), to->StrideV(), width, height, libyuv::kFilterBox);
  return to;
}

TEST(FrameConverter, convertsAPictureOfTheFramesSize) {
  for (const auto& [width, height] : {std::pair{320, 200}, {321, 201}, {17, 33}}) {
    const Canvas canvas(width, height);
    FrameConverter converter;
    converter.setFrameSize({width, height});
    const auto frame = converter.newFrame();
    ASSERT_TRUE(frame);
    converter.convert(canvas.picture(), frame);
    EXPECT_TRUE(testing_support::samePicture(*frame, *whole(canvas.picture())));
  }
}

TEST(FrameConverter, stretchesAPictureOfAnotherSize) {
  for (const auto& [width, height] : {std::pair{640, 480}, {1921, 1081}, {100, 100}}) {
    const Canvas canvas(width, height);
    FrameConverter converter;
    converter.setFrameSize({320, 180});
    const auto frame = converter.newFrame();
    ASSERT_TRUE(frame);
    converter.convert(canvas.picture(), frame);
    EXPECT_EQ(frame->width(), 320);
    EXPECT_EQ(frame->height(), 180);
    EXPECT_TRUE(testing_support::samePicture(*frame, *scaled(*whole(canvas.picture()), 320, 180)));
  }
}

TEST(FrameConverter, convertsOnlyChangedRowsAndStillShowsTheWholePicture) {
  Canvas canvas(333, 251);
  FrameConverter converter;
  converter.setFrameSize({160, 90});
  converter.convert(canvas.picture(), converter.newFrame());
  for (const auto& [top, bottom] : {std::pair{0, 1}, {1, 2}, {7, 20}, {8, 21}, {249, 251}, {250, 251}, {0, 251}}) {
    canvas.scribble(top, bottom);
    const auto frame = converter.newFrame();
    converter.convert(canvas.picture(top, bottom), frame);
    EXPECT_TRUE(testing_support::samePicture(*frame, *scaled(*whole(canvas.picture()), 160, 90))) << top << bottom;
  }
}

TEST(FrameConverter, takesUnchangedRowsFromTheFrameBefore) {
  Canvas canvas(333, 251);
  FrameConverter converter;
  converter.setFrameSize({333, 251});
  auto before = converter.newFrame();
  converter.convert(canvas.picture(), before);
  for (const auto& [top, bottom] : {std::pair{0, 1}, {1, 2}, {7, 20}, {8, 21}, {249, 251}, {250, 251}, {0, 251}}) {
    const auto untouched = webrtc::I420Buffer::Copy(*before);
    canvas.scribble(top, bottom);
    const auto frame = converter.newFrame();
    converter.convert(canvas.picture(top, bottom), frame);
    EXPECT_TRUE(testing_support::samePicture(*frame, *whole(canvas.picture()))) << top << " " << bottom;
    EXPECT_TRUE(testing_support::samePicture(*before, *untouched)) << "the encoder may still be reading it";
    before = frame;
  }
}

TEST(FrameConverter, startsAfreshWhenTheFramesSizeComesBack) {
  Canvas canvas(64, 48);
  FrameConverter converter;
  converter.setFrameSize({64, 48});
  converter.convert(canvas.picture(), converter.newFrame());
  converter.setFrameSize({32, 24});
  canvas.scribble(0, 20);
  converter.convert(canvas.picture(0, 20), converter.newFrame());
  converter.setFrameSize({64, 48});
  canvas.scribble(30, 40);
  const auto frame = converter.newFrame();
  converter.convert(canvas.picture(30, 40), frame);
  EXPECT_TRUE(testing_support::samePicture(*frame, *whole(canvas.picture())));
}

TEST(FrameConverter, convertsEverythingWhenTheDisplayChangesItsSize) {
  FrameConverter converter;
  converter.setFrameSize({160, 90});
  const Canvas before(640, 480);
  converter.convert(before.picture(), converter.newFrame());
  const Canvas after(800, 600);
  const auto frame = converter.newFrame();
  converter.convert(after.picture(10, 20), frame);
  EXPECT_TRUE(testing_support::samePicture(*frame, *scaled(*whole(after.picture()), 160, 90)));
}

TEST(FrameConverter, ignoresRowsOutsideThePicture) {
  const Canvas canvas(64, 48);
  FrameConverter converter;
  converter.setFrameSize({32, 24});
  const auto frame = converter.newFrame();
  converter.convert(canvas.picture(), frame);
  converter.convert(canvas.picture(-10, 1000), frame);
  converter.convert(canvas.picture(60, 20), frame);
  EXPECT_TRUE(testing_support::samePicture(*frame, *scaled(*whole(canvas.picture()), 32, 24)));
}

TEST(FrameConverter, makesABoundedNumberOfFrames) {
  FrameConverter converter;
  converter.setFrameSize({64, 64});
  std::vector<rtc::scoped_refptr<webrtc::I420Buffer>> held;
  while (auto frame = converter.newFrame()) {
    held.push_back(frame);
    ASSERT_LE(held.size(), 6u);
  }
  held.pop_back();
  EXPECT_TRUE(converter.newFrame());
}

}  // namespace
}  // namespace vantora
