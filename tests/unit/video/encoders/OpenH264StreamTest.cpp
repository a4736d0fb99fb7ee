// The metadata of the H.264 encoder's stream, and its split into NAL units.
#include <api/video_codecs/video_encoder_factory.h>
#include <common_video/h264/sps_parser.h>

#include "main/video/encoders/EncoderFactory.h"
#include "tests/unit/video/encoders/OpenH264Testing.h"

namespace vantora {
namespace {

using namespace testh264;

TEST_F(OpenH264EncoderTest, saysWhatAFrameDependsOn) {
  ASSERT_EQ(open(), WEBRTC_VIDEO_CODEC_OK);
  ASSERT_TRUE(comes(flat(100)));
  ASSERT_TRUE(comes(flat(101)));
  for (const Frame& frame : out_.frames) {
    ASSERT_TRUE(frame.info.generic_frame_info);
    ASSERT_EQ(frame.info.generic_frame_info->encoder_buffers.size(), 1U);
    EXPECT_EQ(frame.info.generic_frame_info->encoder_buffers[0].referenced, !frame.key);
    EXPECT_TRUE(frame.info.generic_frame_info->encoder_buffers[0].updated);
    EXPECT_EQ(frame.info.template_structure.has_value(), frame.key);
    EXPECT_EQ(frame.info.codecType, webrtc::kVideoCodecH264);
    EXPECT_EQ(frame.info.codecSpecific.H264.temporal_idx, webrtc::kNoTemporalIdx);
    EXPECT_FALSE(frame.info.codecSpecific.H264.base_layer_sync);
    EXPECT_GE(frame.quantizer, QuantizerControl::kFinest);
    EXPECT_LE(frame.quantizer, QuantizerControl::kCoarsest);
  }
}

TEST_F(OpenH264EncoderTest, sendsConstrainedBaselineAtTheLevelOfTheSizeWhateverProfileIsOffered) {
  int offered = 0;
  for (const webrtc::SdpVideoFormat& format :
       makeVideoEncoderFactory(std::make_shared<KeyFrameRequest>())->GetSupportedFormats()) {
    if (format.name != "H264") continue;
    ++offered;
    OpenH264Encoder encoder(format);
    Out out;
    encoder.RegisterEncodeCompleteCallback(&out);
    const webrtc::VideoCodec codec = codecOf(1280, 720);
    ASSERT_EQ(
        encoder.InitEncode(&codec, webrtc::VideoEncoder::Settings(webrtc::VideoEncoder::Capabilities(false), 2, 1200)),
        WEBRTC_VIDEO_CODEC_OK);
    encoder.Encode(webrtc::VideoFrame::Builder().set_video_frame_buffer(flat(100, 1280, 720)).build(), nullptr);
    ASSERT_EQ(out.frames.size(), 1U) << format.ToString();
    const std::vector<uint8_t> parameters = out.frames[0].parameters();
    ASSERT_GE(parameters.size(), 4U);
    EXPECT_EQ(parameters[1], 0x42) << format.ToString();
    EXPECT_EQ(parameters[2], 0xc0) << format.ToString();
    EXPECT_EQ(parameters[3], 31) << format.ToString();
  }
  EXPECT_GE(offered, 1);
}

TEST_F(OpenH264EncoderTest, raisesTheLevelWithTheSize) {
  for (const auto& [width, height, level] : {std::tuple{1920, 1080, 40}, {3840, 2160, 51}}) {
    ASSERT_EQ(open(codecOf(width, height)), WEBRTC_VIDEO_CODEC_OK);
    ASSERT_TRUE(comes(flat(100, width, height)));
    ASSERT_GE(last().parameters().size(), 4U);
    EXPECT_EQ(last().parameters()[3], level);
  }
}

TEST_F(OpenH264EncoderTest, takesAnotherSizeWhenItIsOpenedAgain) {
  for (const auto& [width, height] : {std::pair{kWidth, kHeight}, {640, 368}, {160, 96}}) {
    ASSERT_EQ(open(codecOf(width, height)), WEBRTC_VIDEO_CODEC_OK);
    ASSERT_TRUE(comes(noise(1, width, height)));
    ASSERT_TRUE(last().key);
    EXPECT_EQ(last().width, static_cast<uint32_t>(width));
    EXPECT_EQ(last().height, static_cast<uint32_t>(height));
    const std::vector<uint8_t> parameters = last().parameters();
    ASSERT_FALSE(parameters.empty());
    const auto parsed = webrtc::SpsParser::ParseSps(parameters.data() + 1, parameters.size() - 1);
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->width, static_cast<uint32_t>(width));
    EXPECT_EQ(parsed->height, static_cast<uint32_t>(height));
  }
}

TEST_F(OpenH264EncoderTest, cutsOddSizesToEvenOnes) {
  ASSERT_EQ(open(codecOf(321, 191)), WEBRTC_VIDEO_CODEC_OK);
  ASSERT_TRUE(comes(noise(1, 321, 191)));
  ASSERT_TRUE(comes(noise(2, 321, 191), false, 5s));
  const std::vector<uint8_t> parameters = out_.frames[0].parameters();
  ASSERT_FALSE(parameters.empty());
  const auto parsed = webrtc::SpsParser::ParseSps(parameters.data() + 1, parameters.size() - 1);
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->width, 320U);
  EXPECT_EQ(parsed->height, 190U);
}

class SingleUnitOpenH264EncoderTest : public OpenH264EncoderTest,
                                      public testing::WithParamInterface<std::map<std::string, std::string>> {
 protected:
  SingleUnitOpenH264EncoderTest() : OpenH264EncoderTest(GetParam()) {}
};

TEST_P(SingleUnitOpenH264EncoderTest, keepsEveryUnitWithinAPacket) {
  for (const size_t payload : {1200U, 600U}) {
    ASSERT_EQ(open(codecOf(), payload), WEBRTC_VIDEO_CODEC_OK);
    ASSERT_TRUE(comes(noise(1)));
    EXPECT_GT(last().bytes.size(), 4 * payload);
    EXPECT_LE(last().largestUnit(), payload);
    EXPECT_EQ(last().info.codecSpecific.H264.packetization_mode, webrtc::H264PacketizationMode::SingleNalUnit);
    ASSERT_TRUE(comes(noise(2), false, 5s));
    EXPECT_LE(last().largestUnit(), payload);
  }
}

// An absent mode means 0.
INSTANTIATE_TEST_SUITE_P(Formats, SingleUnitOpenH264EncoderTest,
                         testing::Values(std::map<std::string, std::string>{},
                                         std::map<std::string, std::string>{{"packetization-mode", "0"}},
                                         std::map<std::string, std::string>{{"packetization-mode", "2"}}));

TEST_F(OpenH264EncoderTest, cutsFramesForThreadsOnlyWhenUnitsMayBeSplit) {
  ASSERT_EQ(open(codecOf(1280, 720)), WEBRTC_VIDEO_CODEC_OK);
  ASSERT_TRUE(comes(noise(1, 1280, 720)));
  EXPECT_EQ(last().info.codecSpecific.H264.packetization_mode, webrtc::H264PacketizationMode::NonInterleaved);
  EXPECT_EQ(last().units().size(), 4U) << "two sets of parameters, a slice for each of two threads";
  EXPECT_GT(last().largestUnit(), 1200U);
}

}  // namespace
}  // namespace vantora
