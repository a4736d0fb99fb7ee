// An encoder with settings that suit screens. A heavy header: for .cpp files that see the
// library.
#pragma once

#include <api/video_codecs/video_encoder.h>
#include <modules/video_coding/include/video_codec_interface.h>

#include <memory>
#include <optional>
#include <vector>

#include "main/rtc/KeyFrameRequest.h"
#include "main/video/encoders/ChangedBlocks.h"
#include "main/video/encoders/LeakyBucket.h"

namespace vantora {

// Passes everything on to `encoder`; changes the settings it is opened with and what it says about
// itself, and asks for a key frame each time that `wish` is made, until one has come. While one is still being sent,
// neither `wish` nor the library gets another. Pictures are left out while the link is busy with earlier ones, except by
// H.264, which has a rate control of its own for that. Thread: the library's encoder queue, which also owns it.
class ScreenTunedEncoder final : public webrtc::VideoEncoder, private webrtc::EncodedImageCallback {
 public:
  ScreenTunedEncoder(std::unique_ptr<webrtc::VideoEncoder> encoder, std::shared_ptr<const KeyFrameRequest> wish)
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
  int32_t encodeWithinLimit(const webrtc::VideoFrame& frame, const std::vector<webrtc::VideoFrameType>* types);
  bool isTooLarge(double bits) const;
  bool isToBeLeftOut(double waiting, int64_t nowUs) const;
  void tellElapsedTime(int64_t nowUs);

  std::unique_ptr<webrtc::VideoEncoder> encoder_;
  std::shared_ptr<const KeyFrameRequest> wish_;
  unsigned granted_;
  unsigned asked_ = granted_;
  webrtc::EncodedImageCallback* callback_ = nullptr;
  // Pictures are left out and coded again here.
  bool gated_ = false;
  // The encoder finds what has moved again only when it is not far away.
  bool searchesNearby_ = false;
  // What encode() made, held back until its size is known to be bearable.
  struct Encoded {
    webrtc::EncodedImage image;
    std::optional<webrtc::CodecSpecificInfo> info;
  };
  std::vector<Encoded> held_;
  bool holds_ = false;
  // Bits of the last key picture that was made as coarse as it gets; 0 before the first.
  double coarseKeyBits_ = 0;
  LeakyBucket waiting_;
  // The same up to the end of the last key picture.
  LeakyBucket keyWaiting_;
  ChangedBlocks changes_;
  // Share of the picture that changed since the last one that was encoded.
  double changed_ = 0;
  RateControlParameters rates_;
  std::optional<int64_t> encodedUs_;
};

}  // namespace vantora
