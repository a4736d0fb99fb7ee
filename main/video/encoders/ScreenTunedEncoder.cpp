#include "main/video/encoders/ScreenTunedEncoder.h"

#include <api/video_codecs/video_codec.h>

namespace vantora {
namespace {

// The coarsest quantizer of VP8 and VP9. The library stops at 56 and rather drops frames: scrolling
// text at 1080p then runs at a few frames a second.
constexpr unsigned kCoarsestVpxQuantizer = 63;

}  // namespace

void ScreenTunedEncoder::SetFecControllerOverride(webrtc::FecControllerOverride* override) {
  encoder_->SetFecControllerOverride(override);
}

int ScreenTunedEncoder::InitEncode(const webrtc::VideoCodec* codec, const Settings& settings) {
  if (!codec) return encoder_->InitEncode(codec, settings);
  webrtc::VideoCodec tuned = *codec;
  if (tuned.codecType == webrtc::kVideoCodecVP8 || tuned.codecType == webrtc::kVideoCodecVP9) {
    tuned.qpMax = kCoarsestVpxQuantizer;
    for (webrtc::SimulcastStream& stream : tuned.simulcastStream) stream.qpMax = kCoarsestVpxQuantizer;
    for (webrtc::SpatialLayer& layer : tuned.spatialLayers) layer.qpMax = kCoarsestVpxQuantizer;
  }
  return encoder_->InitEncode(&tuned, settings);
}

int32_t ScreenTunedEncoder::RegisterEncodeCompleteCallback(webrtc::EncodedImageCallback* callback) {
  callback_ = callback;
  return encoder_->RegisterEncodeCompleteCallback(callback ? this : nullptr);
}

webrtc::EncodedImageCallback::Result ScreenTunedEncoder::OnEncodedImage(const webrtc::EncodedImage& image,
                                                                        const webrtc::CodecSpecificInfo* info) {
  if (image._frameType == webrtc::VideoFrameType::kVideoFrameKey) granted_ = asked_;
  return callback_->OnEncodedImage(image, info);
}

void ScreenTunedEncoder::OnDroppedFrame(DropReason reason) { callback_->OnDroppedFrame(reason); }

int32_t ScreenTunedEncoder::Release() { return encoder_->Release(); }

int32_t ScreenTunedEncoder::Encode(const webrtc::VideoFrame& frame, const std::vector<webrtc::VideoFrameType>* types) {
  asked_ = wish_->made();
  if (asked_ == granted_) return encoder_->Encode(frame, types);
  const std::vector<webrtc::VideoFrameType> key(types ? types->size() : 1, webrtc::VideoFrameType::kVideoFrameKey);
  return encoder_->Encode(frame, &key);
}

void ScreenTunedEncoder::SetRates(const RateControlParameters& parameters) { encoder_->SetRates(parameters); }

void ScreenTunedEncoder::OnPacketLossRateUpdate(float lossRate) { encoder_->OnPacketLossRateUpdate(lossRate); }

void ScreenTunedEncoder::OnRttUpdate(int64_t rttMs) { encoder_->OnRttUpdate(rttMs); }

void ScreenTunedEncoder::OnLossNotification(const LossNotification& notification) {
  encoder_->OnLossNotification(notification);
}

webrtc::VideoEncoder::EncoderInfo ScreenTunedEncoder::GetEncoderInfo() const {
  EncoderInfo info = encoder_->GetEncoderInfo();
  // Half the pixels make text unreadable: when bits are short, they are spread thinner instead.
  info.scaling_settings = ScalingSettings::kOff;
  return info;
}

}  // namespace vantora
