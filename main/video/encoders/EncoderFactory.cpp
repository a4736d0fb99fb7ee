#include "main/video/encoders/EncoderFactory.h"

#include <absl/strings/match.h>
#include <api/video_codecs/builtin_video_encoder_factory.h>

#include "main/video/encoders/AomAv1Encoder.h"
#include "main/video/encoders/OpenH264Encoder.h"
#include "main/video/encoders/ScreenTunedEncoder.h"
#include "main/video/encoders/VpxEncoders.h"

namespace vantora {
namespace {

const webrtc::SdpVideoFormat& av1Format() {
  static const webrtc::SdpVideoFormat format("AV1", {}, {webrtc::ScalabilityMode::kL1T1});
  return format;
}

bool isAv1(const webrtc::SdpVideoFormat& format) { return absl::EqualsIgnoreCase(format.name, av1Format().name); }

class EncoderFactory final : public webrtc::VideoEncoderFactory {
 public:
  EncoderFactory(std::shared_ptr<const KeyFrameRequest> request, OpenH264Encoder::Clock clock)
      : request_(std::move(request)), clock_(std::move(clock)) {}

  std::vector<webrtc::SdpVideoFormat> GetSupportedFormats() const override {
    std::vector<webrtc::SdpVideoFormat> formats = builtin_->GetSupportedFormats();
    formats.push_back(av1Format());
    return formats;
  }

  CodecSupport QueryCodecSupport(const webrtc::SdpVideoFormat& format,
                                 absl::optional<std::string> scalabilityMode) const override {
    if (!isAv1(format)) return builtin_->QueryCodecSupport(format, scalabilityMode);
    return {.is_supported = !scalabilityMode || *scalabilityMode == "L1T1"};
  }

  std::unique_ptr<webrtc::VideoEncoder> CreateVideoEncoder(const webrtc::SdpVideoFormat& format) override {
    std::unique_ptr<webrtc::VideoEncoder> encoder;
    const auto control = std::make_shared<FrameControl>();
    if (isAv1(format)) {
      encoder = std::make_unique<AomAv1Encoder>(control);
    } else if (absl::EqualsIgnoreCase(format.name, "VP8")) {
      encoder = makeVp8Encoder(control);
    } else if (absl::EqualsIgnoreCase(format.name, "VP9")) {
      encoder = makeVp9Encoder(format, control);
    } else if (absl::EqualsIgnoreCase(format.name, "H264")) {
      encoder = std::make_unique<OpenH264Encoder>(format, clock_);
    } else {
      encoder = builtin_->CreateVideoEncoder(format);
    }
    if (!encoder) return nullptr;
    return std::make_unique<ScreenTunedEncoder>(std::move(encoder), control, request_);
  }

 private:
  const std::shared_ptr<const KeyFrameRequest> request_;
  const OpenH264Encoder::Clock clock_;
  std::unique_ptr<webrtc::VideoEncoderFactory> builtin_ = webrtc::CreateBuiltinVideoEncoderFactory();
};

}  // namespace

std::unique_ptr<webrtc::VideoEncoderFactory> makeVideoEncoderFactory(std::shared_ptr<const KeyFrameRequest> request) {
  return makeVideoEncoderFactory(std::move(request), {});
}

std::unique_ptr<webrtc::VideoEncoderFactory> makeVideoEncoderFactory(std::shared_ptr<const KeyFrameRequest> request,
                                                                     std::function<std::chrono::nanoseconds()> clock) {
  return std::make_unique<EncoderFactory>(std::move(request), std::move(clock));
}

}  // namespace vantora
