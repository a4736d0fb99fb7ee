// AV1 in real time through libaom. Heavy header (WebRTC library): include it in .cpp files only.
#pragma once

#include <aom/aom_encoder.h>
#include <api/video/i420_buffer.h>
#include <api/video_codecs/video_encoder.h>

#include <memory>

#include "main/video/encoders/FrameControl.h"

namespace vantora {

// One layer, tuned for screens (palette and screen-content tools), each frame as `control` has it. Thread: the
// library's encoder queue, which also owns it.
class AomAv1Encoder final : public webrtc::VideoEncoder {
 public:
  explicit AomAv1Encoder(std::shared_ptr<const FrameControl> control);
  ~AomAv1Encoder() override;
  AomAv1Encoder(const AomAv1Encoder&) = delete;
  AomAv1Encoder& operator=(const AomAv1Encoder&) = delete;

  // WEBRTC_VIDEO_CODEC_ERR_PARAMETER for a size or rate that libaom cannot take.
  int InitEncode(const webrtc::VideoCodec* codec, const Settings& settings) override;
  int32_t RegisterEncodeCompleteCallback(webrtc::EncodedImageCallback* callback) override;
  int32_t Release() override;
  int32_t Encode(const webrtc::VideoFrame& frame, const std::vector<webrtc::VideoFrameType>* types) override;
  void SetRates(const RateControlParameters& parameters) override;
  EncoderInfo GetEncoderInfo() const override;

 private:
  bool applyControls(int threads);
  bool applyQuantizer();
  const webrtc::I420BufferInterface* withKeptRows(const webrtc::I420BufferInterface& buffer, bool key);
  int32_t deliver(const webrtc::VideoFrame& frame);

  const std::shared_ptr<const FrameControl> control_;
  rtc::scoped_refptr<webrtc::I420Buffer> composed_;
  aom_codec_ctx_t context_{};
  aom_codec_enc_cfg_t config_{};
  bool open_ = false;
  double framerate_ = 30;
  aom_codec_pts_t nextPts_ = 0;
  webrtc::EncodedImageCallback* callback_ = nullptr;
};

}  // namespace vantora
