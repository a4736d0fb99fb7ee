// An encoder with settings that suit screens. A heavy header: for .cpp files that see the
// library.
#pragma once

#include <api/video_codecs/video_encoder.h>

#include <memory>

#include "main/video/encoders/KeyFrameWish.h"

namespace vantora {

// Passes everything on to `encoder`; changes the settings it is opened with and what it says about
// itself, and asks for a key frame each time that `wish` is made, until one has come. Thread: the library's encoder
// queue, which also owns it.
class ScreenTunedEncoder final : public webrtc::VideoEncoder, private webrtc::EncodedImageCallback {
 public:
  ScreenTunedEncoder(std::unique_ptr<webrtc::VideoEncoder> encoder, std::shared_ptr<const KeyFrameWish> wish)
      : encoder_(std::move(encoder)), wish_(std::move(wish)), granted_(wish_->made()) {}

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
  Result OnEncodedImage(const webrtc::EncodedImage& image, const webrtc::CodecSpecificInfo* info) override;
  void OnDroppedFrame(DropReason reason) override;

  std::unique_ptr<webrtc::VideoEncoder> encoder_;
  std::shared_ptr<const KeyFrameWish> wish_;
  unsigned granted_;
  unsigned asked_ = granted_;
  webrtc::EncodedImageCallback* callback_ = nullptr;
};

}  // namespace vantora
