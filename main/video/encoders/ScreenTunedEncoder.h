// An encoder with settings that suit screens. Heavy header (WebRTC library): include it in .cpp files only.
#pragma once

#include <api/video/i420_buffer.h>
#include <api/video_codecs/video_encoder.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "main/rtc/KeyFrameRequest.h"
#include "main/video/encoders/ChangeDetector.h"
#include "main/video/encoders/EncoderCpuClock.h"
#include "main/video/encoders/EncoderLoad.h"
#include "main/video/encoders/FrameControl.h"
#include "main/video/encoders/LeakyBucket.h"
#include "main/video/encoders/ScreenRateControl.h"

namespace vantora {

// Forwards everything to `encoder`; changes its settings and the information it reports about itself, and asks it for a
// key frame after each `request` until it makes one. While a key frame is still being sent, neither `request` nor the
// library gets another. Frames are left out when encoding takes too much of the processor (EncoderLoad). All but H.264,
// which has a rate control of its own, are encoded as ScreenRateControl says: it writes `control`, which the encoder
// reads. Thread: the library's encoder queue, which also owns it.
class ScreenTunedEncoder final : public webrtc::VideoEncoder, private webrtc::EncodedImageCallback {
 public:
  // `cpuSeconds` returns the processor time of the threads that encode; empty: EncoderCpuClock.
  ScreenTunedEncoder(std::unique_ptr<webrtc::VideoEncoder> encoder, std::shared_ptr<FrameControl> control,
                     std::shared_ptr<const KeyFrameRequest> request, std::function<double()> cpuSeconds = {});

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
  bool isKeyFrameDue(int64_t nowUs, const std::vector<webrtc::VideoFrameType>* types);
  int32_t leaveOut();
  int32_t encodePlanned(const webrtc::VideoFrame& frame, bool key, size_t types);
  int32_t encodeTimed(const webrtc::VideoFrame& frame, bool key, size_t types);
  static webrtc::VideoFrame withoutStripes(const webrtc::VideoFrame& frame, const ScreenRateControl::Plan& plan);

  std::unique_ptr<webrtc::VideoEncoder> encoder_;
  const std::shared_ptr<FrameControl> control_;
  std::shared_ptr<const KeyFrameRequest> request_;
  const std::function<double()> cpuSeconds_;
  unsigned answeredRequests_;
  unsigned seenRequests_ = answeredRequests_;
  webrtc::EncodedImageCallback* callback_ = nullptr;
  // Empty for H.264.
  std::optional<ScreenRateControl> rate_;
  // Each new encoder begins with a key frame.
  bool firstPending_ = true;
  double encodedBits_ = 0;
  LeakyBucket queued_;
  // The same, but only up to the end of the last key frame.
  LeakyBucket keyFrameQueued_;
  ChangeDetector changes_;
  // The last picture that came; null for H.264.
  rtc::scoped_refptr<webrtc::I420BufferInterface> lastSeen_;
  EncoderLoad load_{1};
  EncoderCpuClock cpu_;
  int framesTimed_ = 0;
  // Changes in frames that were left out before `encoder_` saw them; it only knows the rectangles of those it gets.
  std::optional<webrtc::VideoFrame::UpdateRect> unseen_;
};

}  // namespace vantora
