// When the H.264 encoder makes a frame, and of which type.
#include <thread>

#include "tests/fakes/Timeout.h"
#include "tests/unit/video/encoders/OpenH264Testing.h"

namespace vantora {
namespace {

using namespace testh264;

TEST_F(OpenH264EncoderTest, refusesWhatItCannotEncode) {
  EXPECT_EQ(
      encoder_.InitEncode(nullptr, webrtc::VideoEncoder::Settings(webrtc::VideoEncoder::Capabilities(false), 2, 1200)),
      WEBRTC_VIDEO_CODEC_ERR_PARAMETER);
  EXPECT_EQ(open(codecOf(0, kHeight)), WEBRTC_VIDEO_CODEC_ERR_PARAMETER);
  EXPECT_EQ(open(codecOf(kWidth, 0)), WEBRTC_VIDEO_CODEC_ERR_PARAMETER);
  webrtc::VideoCodec codec = codecOf();
  codec.maxFramerate = 0;
  EXPECT_EQ(open(codec), WEBRTC_VIDEO_CODEC_ERR_PARAMETER);
  codec = codecOf();
  codec.codecType = webrtc::kVideoCodecVP8;
  EXPECT_EQ(open(codec), WEBRTC_VIDEO_CODEC_ERR_PARAMETER);
  codec = codecOf();
  codec.numberOfSimulcastStreams = 2;
  EXPECT_EQ(open(codec), WEBRTC_VIDEO_CODEC_ERR_SIMULCAST_PARAMETERS_NOT_SUPPORTED);
  EXPECT_EQ(open(codecOf(5120, 2880)), WEBRTC_VIDEO_CODEC_ERROR) << "beyond the highest level";
  EXPECT_EQ(encode(flat(100)), WEBRTC_VIDEO_CODEC_UNINITIALIZED);
  EXPECT_EQ(out_.frames.size(), 0U);
}

TEST_F(OpenH264EncoderTest, acceptsTheHighestRatesAndTheSmallestFrames) {
  webrtc::VideoCodec codec = codecOf();
  codec.startBitrate = 4'294'967;
  ASSERT_EQ(open(codec), WEBRTC_VIDEO_CODEC_OK);
  EXPECT_TRUE(comes(noise(1)));
  ASSERT_EQ(open(codecOf(1, 1)), WEBRTC_VIDEO_CODEC_OK);
  EXPECT_EQ(encode(flat(100, 1, 1)), WEBRTC_VIDEO_CODEC_ERROR);
}

TEST_F(OpenH264EncoderTest, needsACallbackToDeliverTo) {
  ASSERT_EQ(open(), WEBRTC_VIDEO_CODEC_OK);
  encoder_.RegisterEncodeCompleteCallback(nullptr);
  EXPECT_EQ(encode(flat(100)), WEBRTC_VIDEO_CODEC_UNINITIALIZED);
}

TEST_F(OpenH264EncoderTest, beginsWithAKeyFrameAndMakesOthersOnRequestOnly) {
  ASSERT_EQ(open(), WEBRTC_VIDEO_CODEC_OK);
  for (int i = 0; i < 5; ++i) ASSERT_TRUE(comes(flat(static_cast<uint8_t>(100 + i))));
  ASSERT_TRUE(comes(flat(105), true));
  ASSERT_TRUE(comes(flat(106)));
  std::vector<bool> keys;
  for (const Frame& frame : out_.frames) {
    keys.push_back(frame.key);
    EXPECT_EQ(frame.info.codecSpecific.H264.idr_frame, frame.key);
    EXPECT_EQ(frame.parameters().empty(), !frame.key) << "every key frame brings what a decoder needs";
  }
  EXPECT_EQ(keys, (std::vector<bool>{true, false, false, false, false, true, false}));
}

TEST_F(OpenH264EncoderTest, makesAKeyFrameForEveryIntervalThatIsAskedFor) {
  webrtc::VideoCodec codec = codecOf();
  codec.H264()->keyFrameInterval = 3;
  ASSERT_EQ(open(codec), WEBRTC_VIDEO_CODEC_OK);
  for (int i = 0; i < 7; ++i) ASSERT_TRUE(comes(flat(static_cast<uint8_t>(100 + i))));
  for (size_t i = 0; i < 7; ++i) EXPECT_EQ(out_.frames[i].key, i % 3 == 0) << i;
}

TEST_F(OpenH264EncoderTest, replacesAFrameInWhichNothingIsFoundAgainByAKeyFrameThatNeedsNothing) {
  ASSERT_EQ(open(codecOf(kWidth, kHeight, 200)), WEBRTC_VIDEO_CODEC_OK);
  for (int i = 0; i < 20; ++i) encode(flat(100), false, 500ms, Rect{0, 0, 0, 0});
  // For a small update rectangle a fine quantizer is planned.
  ASSERT_TRUE(comes(noise(1), false, 800ms, Rect{0, 0, 16, 16}));
  EXPECT_TRUE(last().key);
  ASSERT_TRUE(last().info.generic_frame_info);
  EXPECT_FALSE(last().info.generic_frame_info->encoder_buffers[0].referenced);
  EXPECT_TRUE(last().info.template_structure);
}

TEST_F(OpenH264EncoderTest, refusesAFrameOfAnotherSizeAndGoesOn) {
  ASSERT_EQ(open(), WEBRTC_VIDEO_CODEC_OK);
  ASSERT_TRUE(comes(flat(100)));
  EXPECT_EQ(encode(flat(100, kWidth, kHeight + 2)), WEBRTC_VIDEO_CODEC_ERR_PARAMETER);
  EXPECT_EQ(encode(flat(100, kWidth - 2, kHeight)), WEBRTC_VIDEO_CODEC_ERR_PARAMETER);
  EXPECT_TRUE(comes(flat(101)));
}

TEST_F(OpenH264EncoderTest, encodesNothingAtAZeroRateAndGoesOnWithAKeyFrame) {
  ASSERT_EQ(open(), WEBRTC_VIDEO_CODEC_OK);
  ASSERT_TRUE(comes(flat(100)));
  setRate(0);
  EXPECT_FALSE(comes(flat(101)));
  EXPECT_FALSE(comes(flat(102), true));
  setRate(2000);
  ASSERT_TRUE(comes(flat(102)));
  EXPECT_TRUE(last().key);
  setRate(1000);
  ASSERT_TRUE(comes(flat(103)));
  EXPECT_FALSE(last().key) << "another rate is no reason";
  EXPECT_EQ(out_.dropped, 0);
}

TEST_F(OpenH264EncoderTest, waitsForARateWhenItIsOpenedWithout) {
  ASSERT_EQ(open(codecOf(kWidth, kHeight, 0)), WEBRTC_VIDEO_CODEC_OK);
  EXPECT_FALSE(comes(flat(100)));
  setRate(1000);
  EXPECT_TRUE(comes(flat(100)));
}

TEST_F(OpenH264EncoderTest, canBeReleasedAndOpenedAgain) {
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(open(), WEBRTC_VIDEO_CODEC_OK);
    ASSERT_TRUE(comes(noise(1)));
    EXPECT_TRUE(last().key);
    EXPECT_EQ(encoder_.Release(), WEBRTC_VIDEO_CODEC_OK);
    EXPECT_EQ(encoder_.Release(), WEBRTC_VIDEO_CODEC_OK);
    setRate(1000);
    EXPECT_EQ(encode(noise(1)), WEBRTC_VIDEO_CODEC_UNINITIALIZED);
  }
}

// Frames wait for an encoder that is busy and then come in quick succession, whenever they were captured.
TEST_F(OpenH264EncoderTest, knowsFromItsClockWhatTheLinkHasSent) {
  ASSERT_EQ(open(codecOf(kWidth, kHeight, 200)), WEBRTC_VIDEO_CODEC_OK);
  ASSERT_TRUE(comes(noise(1)));
  ASSERT_EQ(encodeNow(noise(2), false, 5s), WEBRTC_VIDEO_CODEC_OK);
  EXPECT_EQ(out_.frames.size(), 1U) << "the link is busy";
  now_ += 5s;
  ASSERT_EQ(encodeNow(noise(2), false, 1ms), WEBRTC_VIDEO_CODEC_OK);
  EXPECT_EQ(out_.frames.size(), 2U);
}

TEST_F(OpenH264EncoderTest, measuresRealTimeByDefault) {
  OpenH264Encoder encoder(formatOf({{"packetization-mode", "1"}}));
  encoder.RegisterEncodeCompleteCallback(&out_);
  const webrtc::VideoCodec codec = codecOf(kWidth, kHeight, 200);
  ASSERT_EQ(
      encoder.InitEncode(&codec, webrtc::VideoEncoder::Settings(webrtc::VideoEncoder::Capabilities(false), 2, 1200)),
      WEBRTC_VIDEO_CODEC_OK);
  const auto frame = webrtc::VideoFrame::Builder().set_video_frame_buffer(noise(1)).build();
  testloop::Timeout timeout;
  while (out_.frames.size() < 2 && !timeout.isOver()) {
    ASSERT_EQ(encoder.Encode(frame, nullptr), WEBRTC_VIDEO_CODEC_OK);
    std::this_thread::sleep_for(1ms);
  }
  EXPECT_EQ(out_.frames.size(), 2U);
}

TEST_F(OpenH264EncoderTest, startsAtTheMaximumBitRateAtMost) {
  webrtc::VideoCodec codec = codecOf(kWidth, kHeight, 100);
  ASSERT_EQ(open(codec), WEBRTC_VIDEO_CODEC_OK);
  ASSERT_TRUE(comes(noise(1)));
  codec.maxBitrate = codec.startBitrate;
  codec.startBitrate = 3000;
  ASSERT_EQ(open(codec), WEBRTC_VIDEO_CODEC_OK);
  ASSERT_TRUE(comes(noise(1)));
  EXPECT_EQ(out_.frames[1].quantizer, out_.frames[0].quantizer);
  codec.maxBitrate = 0;
  ASSERT_EQ(open(codec), WEBRTC_VIDEO_CODEC_OK);
  ASSERT_TRUE(comes(noise(1)));
  EXPECT_LT(out_.frames[2].quantizer, out_.frames[0].quantizer) << "without a maximum";
}

// Squares of random shades, from `row` on of a picture that is higher.
Buffer scrolled(int row) {
  constexpr int kSquare = 5;
  static const Buffer shades = noise(3, kWidth, 4 * kHeight);
  auto buffer = flat(0);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      buffer->MutableDataY()[y * buffer->StrideY() + x] =
          shades->DataY()[(y + row) / kSquare * shades->StrideY() + x / kSquare];
    }
  }
  return buffer;
}

// At a rate at which `scrolled` becomes sharp within seconds.
class ScrollingOpenH264EncoderTest : public OpenH264EncoderTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(open(codecOf(kWidth, kHeight, 6000)), WEBRTC_VIDEO_CODEC_OK);
    for (int i = 0; i < 60; ++i) encode(scrolled(0), false, 100ms, Rect{0, 0, 0, 0});
    ASSERT_FALSE(out_.frames.empty());
    page_ = 0;
    for (const Frame& frame : out_.frames) page_ = std::max(page_, frame.bytes.size());
    out_.frames.clear();
  }

  size_t page_ = 0;  // Bytes of the largest frame of a new page.
};

TEST_F(ScrollingOpenH264EncoderTest, sendsScrolledContentInAFractionOfANewPage) {
  for (int i = 1; i <= 20; ++i) ASSERT_TRUE(comes(scrolled(3 * i), false, 16ms)) << i;
  for (const Frame& frame : out_.frames) {
    EXPECT_FALSE(frame.key);
    EXPECT_LT(frame.bytes.size(), page_ / 2);
  }
}

TEST_F(ScrollingOpenH264EncoderTest, isOpenedAgainForContentThatMovesFar) {
  ASSERT_TRUE(comes(scrolled(60), false, 1s));
  EXPECT_TRUE(last().key);
  EXPECT_FALSE(last().parameters().empty());
  ASSERT_TRUE(comes(scrolled(120), false, 1s));
  EXPECT_FALSE(last().key) << "once";
}

TEST_F(ScrollingOpenH264EncoderTest, encodesNothingWhileASharpScreenStandsStill) {
  for (int i = 0; i < 10; ++i) encode(scrolled(0), false, 1s, Rect{0, 0, 0, 0});
  out_.frames.clear();
  for (int i = 0; i < 10; ++i) EXPECT_FALSE(comes(scrolled(0), false, 1s, Rect{0, 0, 0, 0}));
}

TEST_F(ScrollingOpenH264EncoderTest, showsAChangeOfColourOnly) {
  for (int i = 0; i < 10; ++i) encode(scrolled(0), false, 1s, Rect{0, 0, 0, 0});
  Buffer coloured = scrolled(0);
  std::fill_n(coloured->MutableDataU(), coloured->StrideU() * coloured->ChromaHeight(), 200);
  EXPECT_TRUE(comes(coloured, false, 16ms));
}

TEST_F(OpenH264EncoderTest, sendsANewPageInPartsOverASlowLink) {
  ASSERT_EQ(open(codecOf(kWidth, kHeight, 100)), WEBRTC_VIDEO_CODEC_OK);
  std::vector<size_t> sizes;
  for (int i = 0; i < 30; ++i) {
    if (comes(noise(1), false, 100ms, i ? Rect{0, 0, 0, 0} : Rect{0, 0, kWidth, kHeight}))
      sizes.push_back(last().bytes.size());
  }
  ASSERT_GT(sizes.size(), 4U);
  EXPECT_EQ(out_.frames[0].quantizer, out_.frames[1].quantizer) << "in the final quality";
}

TEST_F(OpenH264EncoderTest, isWhatTheLibraryCallsIt) {
  const webrtc::VideoEncoder::EncoderInfo info = encoder_.GetEncoderInfo();
  EXPECT_EQ(info.implementation_name, "OpenH264");
  EXPECT_FALSE(info.is_hardware_accelerated);
  EXPECT_FALSE(info.supports_native_handle);
  EXPECT_FALSE(info.scaling_settings.thresholds);
  EXPECT_TRUE(info.has_trusted_rate_controller);
}

}  // namespace
}  // namespace vantora
