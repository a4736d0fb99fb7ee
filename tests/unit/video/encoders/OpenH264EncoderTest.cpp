// What the H.264 encoder decides by itself: what its stream says about itself, how it is cut, when a picture comes.
#include <api/video/i420_buffer.h>
#include <api/video/video_frame.h>
#include <api/video_codecs/video_codec.h>
#include <api/video_codecs/video_encoder_factory.h>
#include <common_video/h264/h264_common.h>
#include <common_video/h264/sps_parser.h>
#include <gtest/gtest.h>
#include <modules/video_coding/include/video_codec_interface.h>
#include <modules/video_coding/include/video_error_codes.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "main/video/encoders/EncoderFactory.h"
#include "main/video/encoders/OpenH264Encoder.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;
using FrameType = webrtc::VideoFrameType;
using Rect = webrtc::VideoFrame::UpdateRect;
using Buffer = rtc::scoped_refptr<webrtc::I420Buffer>;

constexpr int kWidth = 320;
constexpr int kHeight = 192;

struct Picture {
  std::vector<uint8_t> bytes;
  bool key;
  uint32_t width;
  uint32_t height;
  int quantizer;
  webrtc::CodecSpecificInfo info;

  std::vector<webrtc::H264::NaluIndex> units() const {
    return webrtc::H264::FindNaluIndices(bytes.data(), bytes.size());
  }
  size_t largestUnit() const {
    size_t largest = 0;
    for (const auto& unit : units()) largest = std::max(largest, unit.payload_size);
    return largest;
  }
  // Its sequence parameter set from the type on; empty without one.
  std::vector<uint8_t> parameters() const {
    for (const auto& unit : units()) {
      const uint8_t* start = bytes.data() + unit.payload_start_offset;
      if (webrtc::H264::ParseNaluType(*start) == webrtc::H264::kSps) return {start, start + unit.payload_size};
    }
    return {};
  }
};

struct Out : webrtc::EncodedImageCallback {
  std::vector<Picture> pictures;
  int dropped = 0;
  Result OnEncodedImage(const webrtc::EncodedImage& image, const webrtc::CodecSpecificInfo* info) override {
    pictures.push_back({{image.data(), image.data() + image.size()},
                        image._frameType == FrameType::kVideoFrameKey,
                        image._encodedWidth,
                        image._encodedHeight,
                        image.qp_,
                        *info});
    return Result(Result::OK);
  }
  void OnDroppedFrame(DropReason) override { ++dropped; }
};

Buffer flat(uint8_t shade, int width = kWidth, int height = kHeight) {
  auto buffer = webrtc::I420Buffer::Create(width, height);
  webrtc::I420Buffer::SetBlack(buffer.get());
  std::fill_n(buffer->MutableDataY(), buffer->StrideY() * height, shade);
  return buffer;
}

// Costs many bits.
Buffer noise(unsigned seed, int width = kWidth, int height = kHeight) {
  auto buffer = flat(0, width, height);
  std::minstd_rand random(seed);
  std::generate_n(buffer->MutableDataY(), buffer->StrideY() * height,
                  [&] { return static_cast<uint8_t>(random() % 200); });
  return buffer;
}

webrtc::VideoCodec codecOf(int width = kWidth, int height = kHeight, unsigned kbps = 3000) {
  webrtc::VideoCodec codec;
  codec.codecType = webrtc::kVideoCodecH264;
  codec.width = static_cast<uint16_t>(width);
  codec.height = static_cast<uint16_t>(height);
  codec.startBitrate = kbps;
  codec.maxFramerate = 30;
  codec.mode = webrtc::VideoCodecMode::kRealtimeVideo;
  codec.numberOfSimulcastStreams = 1;
  *codec.H264() = webrtc::VideoEncoder::GetDefaultH264Settings();
  return codec;
}

webrtc::SdpVideoFormat formatOf(const std::map<std::string, std::string>& parameters) {
  return webrtc::SdpVideoFormat("H264", parameters);
}

class OpenH264EncoderTest : public testing::Test {
 protected:
  explicit OpenH264EncoderTest(const std::map<std::string, std::string>& parameters = {{"packetization-mode", "1"}})
      : encoder_(formatOf(parameters)) {
    encoder_.RegisterEncodeCompleteCallback(&out_);
  }

  int open(const webrtc::VideoCodec& codec = codecOf(), size_t payload = 1200) {
    return encoder_.InitEncode(&codec,
                               webrtc::VideoEncoder::Settings(webrtc::VideoEncoder::Capabilities(false), 2, payload));
  }
  void setRate(uint32_t kbps) {
    webrtc::VideoBitrateAllocation allocation;
    allocation.SetBitrate(0, 0, kbps * 1000);
    encoder_.SetRates(webrtc::VideoEncoder::RateControlParameters(allocation, 30));
  }
  int32_t encode(const Buffer& buffer, bool key = false, std::chrono::microseconds later = 33ms,
                 const absl::optional<Rect>& rect = {}) {
    time_ += later;
    const auto frame = webrtc::VideoFrame::Builder()
                           .set_video_frame_buffer(buffer)
                           .set_timestamp_us(time_.count())
                           .set_update_rect(rect)
                           .build();
    const std::vector<FrameType> types{key ? FrameType::kVideoFrameKey : FrameType::kVideoFrameDelta};
    return encoder_.Encode(frame, &types);
  }
  // The same; whether a picture came out.
  bool comes(const Buffer& buffer, bool key = false, std::chrono::microseconds later = 33ms,
             const absl::optional<Rect>& rect = {}) {
    const size_t before = out_.pictures.size();
    EXPECT_EQ(encode(buffer, key, later, rect), WEBRTC_VIDEO_CODEC_OK);
    return out_.pictures.size() > before;
  }
  const Picture& last() const { return out_.pictures.back(); }

  OpenH264Encoder encoder_;
  Out out_;
  std::chrono::microseconds time_ = 1s;
};

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
  EXPECT_EQ(out_.pictures.size(), 0U);
}

TEST_F(OpenH264EncoderTest, standsTheHighestRatesAndTheSmallestPictures) {
  webrtc::VideoCodec codec = codecOf();
  codec.startBitrate = 4'294'967;
  ASSERT_EQ(open(codec), WEBRTC_VIDEO_CODEC_OK);
  EXPECT_TRUE(comes(noise(1)));
  ASSERT_EQ(open(codecOf(1, 1)), WEBRTC_VIDEO_CODEC_OK);
  EXPECT_EQ(encode(flat(100, 1, 1)), WEBRTC_VIDEO_CODEC_ERROR);
}

TEST_F(OpenH264EncoderTest, needsSomebodyToDeliverTo) {
  ASSERT_EQ(open(), WEBRTC_VIDEO_CODEC_OK);
  encoder_.RegisterEncodeCompleteCallback(nullptr);
  EXPECT_EQ(encode(flat(100)), WEBRTC_VIDEO_CODEC_UNINITIALIZED);
}

TEST_F(OpenH264EncoderTest, beginsWithAKeyPictureAndMakesOthersOnRequestOnly) {
  ASSERT_EQ(open(), WEBRTC_VIDEO_CODEC_OK);
  for (int i = 0; i < 5; ++i) ASSERT_TRUE(comes(flat(static_cast<uint8_t>(100 + i))));
  ASSERT_TRUE(comes(flat(105), true));
  ASSERT_TRUE(comes(flat(106)));
  std::vector<bool> keys;
  for (const Picture& picture : out_.pictures) {
    keys.push_back(picture.key);
    EXPECT_EQ(picture.info.codecSpecific.H264.idr_frame, picture.key);
    EXPECT_EQ(picture.parameters().empty(), !picture.key) << "every key picture brings what a decoder needs";
  }
  EXPECT_EQ(keys, (std::vector<bool>{true, false, false, false, false, true, false}));
}

TEST_F(OpenH264EncoderTest, makesAKeyPictureForEveryIntervalThatIsAskedFor) {
  webrtc::VideoCodec codec = codecOf();
  codec.H264()->keyFrameInterval = 3;
  ASSERT_EQ(open(codec), WEBRTC_VIDEO_CODEC_OK);
  for (int i = 0; i < 7; ++i) ASSERT_TRUE(comes(flat(static_cast<uint8_t>(100 + i))));
  for (size_t i = 0; i < 7; ++i) EXPECT_EQ(out_.pictures[i].key, i % 3 == 0) << i;
}

TEST_F(OpenH264EncoderTest, saysWhatAPictureDependsOn) {
  ASSERT_EQ(open(), WEBRTC_VIDEO_CODEC_OK);
  ASSERT_TRUE(comes(flat(100)));
  ASSERT_TRUE(comes(flat(101)));
  for (const Picture& picture : out_.pictures) {
    ASSERT_TRUE(picture.info.generic_frame_info);
    ASSERT_EQ(picture.info.generic_frame_info->encoder_buffers.size(), 1U);
    EXPECT_EQ(picture.info.generic_frame_info->encoder_buffers[0].referenced, !picture.key);
    EXPECT_TRUE(picture.info.generic_frame_info->encoder_buffers[0].updated);
    EXPECT_EQ(picture.info.template_structure.has_value(), picture.key);
    EXPECT_EQ(picture.info.codecType, webrtc::kVideoCodecH264);
    EXPECT_EQ(picture.info.codecSpecific.H264.temporal_idx, webrtc::kNoTemporalIdx);
    EXPECT_FALSE(picture.info.codecSpecific.H264.base_layer_sync);
    EXPECT_GE(picture.quantizer, QuantizerControl::kFinest);
    EXPECT_LE(picture.quantizer, QuantizerControl::kCoarsest);
  }
}

TEST_F(OpenH264EncoderTest, replacesAPictureInWhichNothingIsFoundAgainByAKeyPictureThatNeedsNothing) {
  ASSERT_EQ(open(codecOf(kWidth, kHeight, 200)), WEBRTC_VIDEO_CODEC_OK);
  ASSERT_TRUE(comes(flat(100)));
  // A picture of which little seems to have changed is planned to be fine.
  ASSERT_TRUE(comes(noise(1), false, 3s, Rect{0, 0, 16, 16}));
  EXPECT_TRUE(last().key);
  ASSERT_TRUE(last().info.generic_frame_info);
  EXPECT_FALSE(last().info.generic_frame_info->encoder_buffers[0].referenced);
  EXPECT_TRUE(last().info.template_structure);
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
    ASSERT_EQ(out.pictures.size(), 1U) << format.ToString();
    const std::vector<uint8_t> parameters = out.pictures[0].parameters();
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
  const std::vector<uint8_t> parameters = out_.pictures[0].parameters();
  ASSERT_FALSE(parameters.empty());
  const auto parsed = webrtc::SpsParser::ParseSps(parameters.data() + 1, parameters.size() - 1);
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->width, 320U);
  EXPECT_EQ(parsed->height, 190U);
}

TEST_F(OpenH264EncoderTest, refusesAFrameOfAnotherSizeAndGoesOn) {
  ASSERT_EQ(open(), WEBRTC_VIDEO_CODEC_OK);
  ASSERT_TRUE(comes(flat(100)));
  EXPECT_EQ(encode(flat(100, kWidth, kHeight + 2)), WEBRTC_VIDEO_CODEC_ERR_PARAMETER);
  EXPECT_EQ(encode(flat(100, kWidth - 2, kHeight)), WEBRTC_VIDEO_CODEC_ERR_PARAMETER);
  EXPECT_TRUE(comes(flat(101)));
}

TEST_F(OpenH264EncoderTest, encodesNothingAtARateOfNothingAndGoesOnWithAKeyPicture) {
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
    out_.pictures.clear();
  }
};

TEST_F(ThinOpenH264EncoderTest, isOpenedAnewWhenTheLinkHasBeenThinForHalfASecond) {
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

TEST_F(ThinOpenH264EncoderTest, looksForChangesWhereTheFrameSaysThatTheyAre) {
  ASSERT_TRUE(comes(flat(120), false, 600ms));
  ASSERT_TRUE(comes(flat(121), false, 600ms));
  EXPECT_TRUE(comes(flat(122), false, 10ms, Rect{0, 0, 0, 0})) << "nothing changed";
  EXPECT_FALSE(comes(flat(123), false, 10ms, Rect{0, 0, kWidth, 64})) << "a third did";
  EXPECT_FALSE(comes(flat(123), false, 10ms, Rect{0, 0, 0, 0})) << "it is still to be shown";
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

// What is not said is 0.
INSTANTIATE_TEST_SUITE_P(Formats, SingleUnitOpenH264EncoderTest,
                         testing::Values(std::map<std::string, std::string>{},
                                         std::map<std::string, std::string>{{"packetization-mode", "0"}},
                                         std::map<std::string, std::string>{{"packetization-mode", "2"}}));

TEST_F(OpenH264EncoderTest, cutsPicturesForThreadsOnlyWhenUnitsMayBeSplit) {
  ASSERT_EQ(open(codecOf(1280, 720)), WEBRTC_VIDEO_CODEC_OK);
  ASSERT_TRUE(comes(noise(1, 1280, 720)));
  EXPECT_EQ(last().info.codecSpecific.H264.packetization_mode, webrtc::H264PacketizationMode::NonInterleaved);
  EXPECT_EQ(last().units().size(), 4U) << "two sets of parameters, a slice for each of two threads";
  EXPECT_GT(last().largestUnit(), 1200U);
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
