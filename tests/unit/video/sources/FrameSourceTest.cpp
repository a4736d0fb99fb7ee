#include <limits>

#include "main/video/sources/FrameSource.h"
#include "rtc_base/ref_counted_object.h"
#include "rtc_base/time_utils.h"
#include "tests/unit/video/sources/SourceTesting.h"

namespace vantora {
namespace {

using testsupport::FrameSink;

class FrameSourceTest : public testing::Test {
 public:
  // Pushes a frame, a second after the last one.
  bool push(int width, int height) {
    const auto frame = webrtc::I420Buffer::Create(width, height);
    webrtc::I420Buffer::SetBlack(frame.get());
    return source->push(frame, timestampUs_ += 1'000'000);
  }

  const rtc::scoped_refptr<FrameSource> source = rtc::make_ref_counted<FrameSource>();

 private:
  std::int64_t timestampUs_ = 0;
};

TEST_F(FrameSourceTest, describesItselfAsALocalLiveSourceThatIsNoScreencast) {
  EXPECT_EQ(source->state(), webrtc::MediaSourceInterface::kLive);
  EXPECT_FALSE(source->remote());
  EXPECT_FALSE(source->is_screencast());
  EXPECT_EQ(source->needs_denoising(), absl::optional<bool>(false));
}

TEST_F(FrameSourceTest, passesOnTheVeryBufferOfEverySizeThatWasAskedFor) {
  FrameSink sink(source.get());
  for (int width = 16; width < 4000; width += 37) {
    const int height = 16 + width * 7 % 1500;
    source->adaptOutputFormat(width, height, 60);
    const auto frame = webrtc::I420Buffer::Create(width, height);
    webrtc::I420Buffer::SetBlack(frame.get());
    ASSERT_TRUE(source->push(frame, width * 1'000'000LL));
    ASSERT_EQ(sink.last().width, width);
    ASSERT_EQ(sink.last().height, height);
    ASSERT_EQ(sink.last().buffer, frame.get());
  }
}

TEST_F(FrameSourceTest, passesOnWhatChangedSinceTheLastFrameThatWasWanted) {
  const auto frame = webrtc::I420Buffer::Create(640, 480);
  webrtc::I420Buffer::SetBlack(frame.get());
  std::int64_t time = 0;
  const auto pushChanged = [&](std::optional<QRect> changed) {
    return source->push(frame, time += 1'000'000, changed);
  };
  const QRect whole(0, 0, 640, 480);
  EXPECT_FALSE(pushChanged(QRect(0, 0, 4, 4))) << "no sink";
  FrameSink sink(source.get());
  ASSERT_TRUE(pushChanged(QRect(10, 10, 4, 4)));
  EXPECT_EQ(sink.last().changed, whole) << "the first frame that the sink sees";
  ASSERT_TRUE(pushChanged(QRect(10, 10, 4, 4)));
  EXPECT_EQ(sink.last().changed, QRect(10, 10, 4, 4));
  ASSERT_TRUE(pushChanged(QRect()));
  EXPECT_EQ(sink.last().changed, QRect());
  source->setActive(false);
  EXPECT_FALSE(pushChanged(QRect(100, 100, 8, 8)));
  EXPECT_FALSE(pushChanged(QRect(300, 50, 8, 8)));
  source->setActive(true);
  ASSERT_TRUE(pushChanged(QRect(200, 200, 2, 2)));
  EXPECT_EQ(sink.last().changed, QRect(QPoint(100, 50), QPoint(307, 201)));
  ASSERT_TRUE(pushChanged(std::nullopt));
  EXPECT_EQ(sink.last().changed, whole);
  ASSERT_TRUE(pushChanged(QRect(630, 470, 100, 100)));
  EXPECT_EQ(sink.last().changed, QRect(630, 470, 10, 10));
  source->setActive(false);
  EXPECT_FALSE(pushChanged(std::nullopt));
  source->setActive(true);
  ASSERT_TRUE(pushChanged(QRect()));
  EXPECT_EQ(sink.last().changed, whole);
}

TEST_F(FrameSourceTest, scalesWhatChangedWithTheFrame) {
  FrameSink sink(source.get());
  source->adaptOutputFormat(320, 240, 30);
  const auto frame = webrtc::I420Buffer::Create(640, 480);
  webrtc::I420Buffer::SetBlack(frame.get());
  ASSERT_TRUE(source->push(frame, 1'000'000));
  ASSERT_TRUE(source->push(frame, 2'000'000, QRect(100, 200, 20, 10)));
  EXPECT_TRUE(sink.last().changed.contains(QRect(50, 100, 10, 5)));
  EXPECT_LT(sink.last().changed.width() * sink.last().changed.height(), 40 * 40);
}

TEST_F(FrameSourceTest, cropsAndScalesFramesOfAnotherSize) {
  FrameSink sink(source.get());
  source->adaptOutputFormat(640, 360, 30);
  EXPECT_TRUE(push(1280, 800));
  EXPECT_EQ(sink.last().width, 640);
  EXPECT_EQ(sink.last().height, 360);
}

TEST_F(FrameSourceTest, keepsTheSizeWhenTheEncoderAsksForFewerPixels) {
  FrameSink sink(source.get());
  source->adaptOutputFormat(1280, 720, 30);
  rtc::VideoSinkWants wants;
  wants.max_pixel_count = 640 * 360;
  wants.target_pixel_count = 320 * 180;
  sink.want(wants);
  EXPECT_TRUE(push(1280, 720));
  EXPECT_EQ(sink.last().width, 1280);
  EXPECT_EQ(sink.last().height, 720);
}

TEST_F(FrameSourceTest, dropsFramesWhileInactive) {
  FrameSink sink(source.get());
  source->setActive(false);
  EXPECT_FALSE(push(64, 64));
  webrtc::VideoTrackSourceInterface::Stats stats{};
  EXPECT_FALSE(source->GetStats(&stats)) << "an inactive source does not even read the frame";
  source->setActive(true);
  EXPECT_TRUE(push(64, 64));
  EXPECT_EQ(sink.count(), 1u);
}

TEST_F(FrameSourceTest, wantsNothingWithoutASink) {
  EXPECT_FALSE(push(64, 64));
  { const FrameSink sink(source.get()); }
  EXPECT_FALSE(push(64, 64));
}

TEST_F(FrameSourceTest, knowsTheSizeOfItsInput) {
  FrameSink sink(source.get());
  source->adaptOutputFormat(32, 32, 30);
  EXPECT_TRUE(push(64, 48));
  webrtc::VideoTrackSourceInterface::Stats stats{};
  ASSERT_TRUE(source->GetStats(&stats));
  EXPECT_EQ(stats.input_width, 64);
  EXPECT_EQ(stats.input_height, 48);
}

TEST_F(FrameSourceTest, dropsFramesAboveTheRate) {
  FrameSink sink(source.get());
  source->adaptOutputFormat(64, 64, 10);
  const auto frame = webrtc::I420Buffer::Create(64, 64);
  webrtc::I420Buffer::SetBlack(frame.get());
  for (int i = 0; i < 100; ++i) (void)source->push(frame, i * 10'000);
  EXPECT_NEAR(static_cast<double>(sink.count()), 10, 1);
}

TEST_F(FrameSourceTest, keepsTheFormatAsItWasRequested) {
  source->adaptOutputFormat(8, 4000, 120);
  EXPECT_EQ(source->outputFormat(), (FrameSource::Format{8, 4000, 120}));
}

TEST_F(FrameSourceTest, survivesFormatsThatMakeNoSense) {
  FrameSink sink(source.get());
  constexpr int kMax = std::numeric_limits<int>::max();
  constexpr int kMin = std::numeric_limits<int>::min();
  std::size_t frames = 0;
  for (const auto& [width, height] :
       {std::pair{0, 0}, {-1, 720}, {kMin, kMin}, {kMax, kMax}, {kMax, 1}, {1, kMax}, {1, 1}, {64, 1}, {2, 3}}) {
    for (const int side : {64, 16, 8}) {
      source->adaptOutputFormat(width, height, 0);
      EXPECT_TRUE(push(side, 48)) << width << "x" << height;
      EXPECT_EQ(sink.count(), ++frames);
    }
  }
  source->adaptOutputFormat(0, 720, 30);
  EXPECT_TRUE(push(64, 48));
  EXPECT_EQ(sink.last().width, 64);
  EXPECT_EQ(sink.last().height, 48);
}

TEST_F(FrameSourceTest, survivesAnEncoderThatWantsNextToNothing) {
  FrameSink sink(source.get());
  source->adaptOutputFormat(64, 48, 30);
  for (const int pixels : {1, 2, 7, 100}) {
    rtc::VideoSinkWants wants;
    wants.max_pixel_count = pixels;
    wants.resolution_alignment = 16;
    sink.want(wants);
    (void)push(64, 48);
    for (const auto& frame : sink.frames()) EXPECT_GT(frame.width * frame.height, 0);
  }
}

TEST_F(FrameSourceTest, asksForAFrameWhenASinkComesOrChangesItsWants) {
  int asked = 0;
  source->setRefreshHandler([&] { ++asked; });
  FrameSink sink(source.get());
  EXPECT_EQ(asked, 1);
  sink.want({});
  EXPECT_EQ(asked, 2);
  source->RequestRefreshFrame();
  EXPECT_EQ(asked, 3);
  source->setRefreshHandler(nullptr);
  source->RequestRefreshFrame();
  EXPECT_EQ(asked, 3);
}

}  // namespace
}  // namespace vantora
