#include <api/video/video_frame.h>
#include <api/video_codecs/video_codec.h>
#include <gtest/gtest.h>
#include <modules/video_coding/include/video_error_codes.h>

#include "main/video/encoders/ScreenTunedEncoder.h"

namespace vantora {
namespace {

constexpr unsigned kOfTheLibrary = 56;
constexpr unsigned kOfH264 = 51;

// Records the settings it was opened with.
struct RecordingEncoder : webrtc::VideoEncoder {
  std::shared_ptr<std::vector<webrtc::VideoCodec>> opened = std::make_shared<std::vector<webrtc::VideoCodec>>();

  int InitEncode(const webrtc::VideoCodec* codec, const Settings&) override {
    opened->push_back(*codec);
    return WEBRTC_VIDEO_CODEC_OK;
  }
  int32_t RegisterEncodeCompleteCallback(webrtc::EncodedImageCallback*) override { return WEBRTC_VIDEO_CODEC_OK; }
  int32_t Release() override { return WEBRTC_VIDEO_CODEC_OK; }
  int32_t Encode(const webrtc::VideoFrame&, const std::vector<webrtc::VideoFrameType>*) override {
    return WEBRTC_VIDEO_CODEC_OK;
  }
  void SetRates(const RateControlParameters&) override {}
  EncoderInfo GetEncoderInfo() const override {
    EncoderInfo info;
    info.scaling_settings = ScalingSettings(20, 40);
    info.implementation_name = "recording";
    return info;
  }
};

// The settings passed to the wrapped encoder when the library requests `qpMax` everywhere.
webrtc::VideoCodec opened(webrtc::VideoCodecType type, unsigned qpMax) {
  webrtc::VideoCodec codec;
  codec.codecType = type;
  codec.width = 1920;
  codec.height = 1080;
  codec.qpMax = qpMax;
  for (webrtc::SimulcastStream& stream : codec.simulcastStream) stream.qpMax = qpMax;
  for (webrtc::SpatialLayer& layer : codec.spatialLayers) layer.qpMax = qpMax;
  auto recording = std::make_unique<RecordingEncoder>();
  const auto seen = recording->opened;
  ScreenTunedEncoder encoder(std::move(recording), std::make_shared<FrameControl>(),
                             std::make_shared<KeyFrameRequest>());
  EXPECT_EQ(
      encoder.InitEncode(&codec, webrtc::VideoEncoder::Settings(webrtc::VideoEncoder::Capabilities(false), 2, 1200)),
      WEBRTC_VIDEO_CODEC_OK);
  EXPECT_EQ(codec.qpMax, qpMax) << "the library's own stays as it was";
  EXPECT_EQ(seen->size(), 1U);
  return seen->empty() ? webrtc::VideoCodec() : seen->back();
}

void expectCoarsest(const webrtc::VideoCodec& codec, unsigned qpMax) {
  EXPECT_EQ(codec.qpMax, qpMax);
  for (const webrtc::SimulcastStream& stream : codec.simulcastStream) EXPECT_EQ(stream.qpMax, qpMax);
  for (const webrtc::SpatialLayer& layer : codec.spatialLayers) EXPECT_EQ(layer.qpMax, qpMax);
  EXPECT_EQ(codec.width, 1920);
  EXPECT_EQ(codec.height, 1080);
}

// With the library's limit, scrolling text at 1080p runs at a few frames per second.
TEST(ScreenTunedEncoder, letsVp8AndVp9CoarsenAsFarAsTheyGoBeforeFramesAreDropped) {
  expectCoarsest(opened(webrtc::kVideoCodecVP8, kOfTheLibrary), 63);
  expectCoarsest(opened(webrtc::kVideoCodecVP9, kOfTheLibrary), 63);
}

TEST(ScreenTunedEncoder, leavesTheLimitsOfOtherCodecsAlone) {
  expectCoarsest(opened(webrtc::kVideoCodecH264, kOfH264), kOfH264);
  expectCoarsest(opened(webrtc::kVideoCodecAV1, kOfTheLibrary), kOfTheLibrary);
}

TEST(ScreenTunedEncoder, offersNoScalingAndElseWhatItsEncoderIs) {
  const ScreenTunedEncoder encoder(std::make_unique<RecordingEncoder>(), std::make_shared<FrameControl>(),
                                   std::make_shared<KeyFrameRequest>());
  const webrtc::VideoEncoder::EncoderInfo info = encoder.GetEncoderInfo();
  EXPECT_FALSE(info.scaling_settings.thresholds);
  EXPECT_EQ(info.implementation_name, "recording");
}

}  // namespace
}  // namespace vantora
