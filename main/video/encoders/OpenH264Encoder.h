// H.264 in real time through OpenH264. A heavy header: for .cpp files that see the library.
#pragma once

#include <api/video_codecs/sdp_video_format.h>
#include <api/video_codecs/video_encoder.h>
#include <modules/video_coding/codecs/h264/include/h264_globals.h>
#include <modules/video_coding/svc/scalable_video_controller.h>
#include <third_party/openh264/src/codec/api/svc/codec_api.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "main/video/encoders/ChangedBlocks.h"
#include "main/video/encoders/QuantizerControl.h"
#include "main/video/encoders/ThinLink.h"

namespace webrtc {
class H264BitstreamParser;
}

namespace vantora {

// One layer in constrained baseline, which every profile that is offered decodes, at the level that the size needs,
// with a rate control of its own (QuantizerControl): the one of OpenH264 lets the first picture of a page of text grow
// to seconds of the link's time and then shows nothing until that is through. Goes by the times of the frames. Thread:
// the library's encoder queue, which also owns it.
class OpenH264Encoder final : public webrtc::VideoEncoder {
 public:
  // `format`: H264 as negotiated. Without packetization-mode=1 a picture is cut into units that fit into packets.
  explicit OpenH264Encoder(const webrtc::SdpVideoFormat& format);
  ~OpenH264Encoder() override;
  OpenH264Encoder(const OpenH264Encoder&) = delete;
  OpenH264Encoder& operator=(const OpenH264Encoder&) = delete;

  // WEBRTC_VIDEO_CODEC_ERR_PARAMETER for another codec, a size or a rate of pictures that is none;
  // WEBRTC_VIDEO_CODEC_ERR_SIMULCAST_PARAMETERS_NOT_SUPPORTED for more than one stream; WEBRTC_VIDEO_CODEC_ERROR for
  // what OpenH264 cannot take.
  int InitEncode(const webrtc::VideoCodec* codec, const Settings& settings) override;
  int32_t RegisterEncodeCompleteCallback(webrtc::EncodedImageCallback* callback) override;
  int32_t Release() override;
  // A picture that is left out reports nothing: the library notices by the next one that comes.
  // WEBRTC_VIDEO_CODEC_ERR_PARAMETER for a frame of another size than asked for.
  int32_t Encode(const webrtc::VideoFrame& frame, const std::vector<webrtc::VideoFrameType>* types) override;
  // Nothing is encoded while the rate is 0; what comes then begins with a key picture.
  void SetRates(const RateControlParameters& parameters) override;
  EncoderInfo GetEncoderInfo() const override;

 private:
  struct Destroy {
    void operator()(ISVCEncoder* encoder) const;
  };

  bool open();
  bool chooseSearch();
  bool searchesFar() const { return parameters_.iUsageType == SCREEN_CONTENT_REAL_TIME; }
  std::optional<int> plan();
  bool code(int quantizer, const webrtc::VideoFrame& frame, const webrtc::I420BufferInterface& picture);
  void deliver(const webrtc::VideoFrame& frame);
  bool madeKey() const { return made_.eFrameType == videoFrameTypeIDR; }
  size_t madeBytes() const;

  const webrtc::H264PacketizationMode packetization_;
  std::unique_ptr<ISVCEncoder, Destroy> encoder_;
  SEncParamExt parameters_{};
  // What the encoder made last; its bytes belong to the encoder.
  SFrameBSInfo made_{};
  // Of a link that is not thin.
  EUsageType usage_ = CAMERA_VIDEO_REAL_TIME;
  // Reads the quantizers of pictures, in the order in which they are sent.
  std::unique_ptr<webrtc::H264BitstreamParser> parser_;
  // Says on which pictures a picture depends.
  std::unique_ptr<webrtc::ScalableVideoController> dependencies_;
  webrtc::EncodedImageCallback* callback_ = nullptr;

  double bitsPerSecond_ = 0;
  // Both are there while the encoder is open.
  std::optional<QuantizerControl> control_;
  std::optional<ThinLink> link_;
  ChangedBlocks changes_;
  // Share of the picture that changed since the last one that was coded.
  double waiting_ = 0;
  // The next picture is a key picture.
  bool key_ = true;
  // Sum of the times between frames; one that runs backwards counts as none.
  QuantizerControl::Time now_{};
  std::optional<int64_t> frameUs_;
  // When the last picture was coded.
  QuantizerControl::Time coded_{};
};

}  // namespace vantora
