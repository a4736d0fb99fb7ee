// When the H.264 encoder makes a frame, and of which type.
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
  ASSERT_TRUE(comes(flat(100)));
  // For a small update rectangle a fine quantizer is planned.
  ASSERT_TRUE(comes(noise(1), false, 3s, Rect{0, 0, 16, 16}));
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

TEST_F(OpenH264EncoderTest, goesByTheTimesOfTheFrames) {
  ASSERT_EQ(open(codecOf(kWidth, kHeight, 200)), WEBRTC_VIDEO_CODEC_OK);
  ASSERT_TRUE(comes(noise(1)));
  EXPECT_FALSE(comes(noise(2))) << "the link is busy";
  EXPECT_FALSE(comes(noise(2), false, -10s));
  EXPECT_TRUE(comes(noise(2), false, 5s)) << "time that ran backwards is not waited for";
}

// On a link that has just become thin.
class ThinOpenH264EncoderTest : public OpenH264EncoderTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(open(codecOf(kWidth, kHeight, 60)), WEBRTC_VIDEO_CODEC_OK);  // One bit a second for each pixel.
    ASSERT_TRUE(comes(flat(100)));
    ASSERT_TRUE(comes(flat(101), false, 600ms));
    out_.frames.clear();
  }
};

TEST_F(ThinOpenH264EncoderTest, isOpenedAgainWhenTheLinkHasBeenThinForHalfASecond) {
  ASSERT_TRUE(comes(flat(120), false, 600ms));
  EXPECT_TRUE(last().key);
  EXPECT_FALSE(last().parameters().empty());
  ASSERT_TRUE(comes(flat(121), false, 600ms));
  EXPECT_FALSE(last().key) << "once";
}

TEST_F(ThinOpenH264EncoderTest, leavesOutWhatFollowsSoonerThanTextIsRead) {
  ASSERT_TRUE(comes(flat(120), false, 600ms));
  ASSERT_TRUE(comes(flat(121), false, 600ms));
  EXPECT_FALSE(comes(flat(122), false, 10ms));
  EXPECT_FALSE(comes(flat(122), false, 10ms)) << "it is still to be shown";
  EXPECT_TRUE(comes(flat(122), false, 11ms));
  EXPECT_EQ(out_.dropped, 0) << "the library counts it by itself";
}

TEST_F(ThinOpenH264EncoderTest, searchesForChangesWhereTheFrameSaysThatTheyAre) {
  ASSERT_TRUE(comes(flat(120), false, 600ms));
  ASSERT_TRUE(comes(flat(121), false, 600ms));
  EXPECT_TRUE(comes(flat(122), false, 10ms, Rect{0, 0, 0, 0})) << "nothing changed";
  EXPECT_FALSE(comes(flat(123), false, 10ms, Rect{0, 0, kWidth, 64})) << "a third did";
  EXPECT_FALSE(comes(flat(123), false, 10ms, Rect{0, 0, 0, 0})) << "it is still to be shown";
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
