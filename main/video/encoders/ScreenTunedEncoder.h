// An encoder with settings that suit screens. Heavy header (WebRTC library): include it in .cpp files only.
#pragma once

#include <api/video_codecs/video_encoder.h>
#include <modules/video_coding/include/video_codec_interface.h>

#include <memory>
#include <optional>
#include <vector>

#include "main/rtc/KeyFrameRequest.h"
#include "main/video/encoders/ChangeDetector.h"
#include "main/video/encoders/LeakyBucket.h"

namespace vantora {

// Forwards everything to `encoder`; changes its settings and the information it reports about itself, and asks it for a
// key frame after each `request` until it makes one. While a key frame is still being sent, neither `request` nor the
// library gets another. Frames are dropped while the link is busy with earlier ones, except for H.264, whose own rate
// control does that. Thread: the library's encoder queue, which also owns it.
class ScreenTunedEncoder final : public webrtc::VideoEncoder, private webrtc::EncodedImageCallback {
 public:
  ScreenTunedEncoder(std::unique_ptr<webrtc::VideoEncoder> encoder, std::shared_ptr<const KeyFrameRequest> request)
      : encoder_(std::move(encoder)), request_(std::move(request)), answeredRequests_(request_->count()) {}

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
  int32_t encodeWithinLimit(const webrtc::VideoFrame& frame, const std::vector<webrtc::VideoFrameType>* types);
  bool isTooLarge(double bits) const;
  bool shouldDrop(double waiting, int64_t nowUs) const;
  void reportElapsedTime(int64_t nowUs);

  std::unique_ptr<webrtc::VideoEncoder> encoder_;
  std::shared_ptr<const KeyFrameRequest> request_;
  unsigned answeredRequests_;
  unsigned seenRequests_ = answeredRequests_;
  webrtc::EncodedImageCallback* callback_ = nullptr;
  // Frames are dropped and encoded again by this class, not by the encoder.
  bool dropsFrames_ = false;
  // The encoder's motion search has a short range.
  bool shortMotionSearch_ = false;
  // Encoded frames, held back until their size is known to be acceptable.
  struct Encoded {
    webrtc::EncodedImage image;
    std::optional<webrtc::CodecSpecificInfo> info;
  };
  std::vector<Encoded> held_;
  bool holds_ = false;
  // Bits of the last key frame at the coarsest quantizer; 0 before the first.
  double coarseKeyBits_ = 0;
  LeakyBucket queued_;
  // The same, but only up to the end of the last key frame.
  LeakyBucket keyFrameQueued_;
  ChangeDetector changes_;
  // Share of the frame that changed since the last encoded one.
  double changedShare_ = 0;
  RateControlParameters rates_;
  std::optional<int64_t> encodedUs_;
};

}  // namespace vantora
