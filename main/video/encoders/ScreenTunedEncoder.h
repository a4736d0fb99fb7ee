// A built-in encoder with settings that suit screens. A heavy header: for .cpp files that see the
// library.
#pragma once

#include <api/video_codecs/video_encoder.h>

#include <memory>

namespace vantora {

// Passes everything on to `encoder`; changes the settings it is opened with and what it says about
// itself. Thread: the library's encoder queue, which also owns it.
class ScreenTunedEncoder final : public webrtc::VideoEncoder {
 public:
  explicit ScreenTunedEncoder(std::unique_ptr<webrtc::VideoEncoder> encoder) : encoder_(std::move(encoder)) {}

  void SetFecControllerOverride(webrtc::FecControllerOverride* override) override;
  int InitEncode(const webrtc::VideoCodec* codec, const Settings& settings) override;
  int32_t RegisterEncodeCompleteCallback(webrtc::EncodedImageCallback* callback) override;
  int32_t Release() override;
  int32_t Encode(const webrtc::VideoFrame& frame, const std::vector<webrtc::VideoFrameType>* types) override;
  void SetRates(const RateControlParameters& parameters) override;
  void OnPacketLossRateUpdate(float lossRate) override;
  void OnRttUpdate(int64_t rttMs) override;
  void OnLossNotification(const LossNotification& notification) override;
  EncoderInfo GetEncoderInfo() const override;

 private:
  std::unique_ptr<webrtc::VideoEncoder> encoder_;
};

}  // namespace vantora
