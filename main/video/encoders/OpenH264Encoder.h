// H.264 in real time through OpenH264. Heavy header (WebRTC library): include it in .cpp files only.
#pragma once

#include <api/video_codecs/sdp_video_format.h>
#include <api/video_codecs/video_encoder.h>
#include <modules/video_coding/codecs/h264/include/h264_globals.h>
#include <modules/video_coding/svc/scalable_video_controller.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "main/video/encoders/ChangeDetector.h"
#include "main/video/encoders/OpenH264Instance.h"
#include "main/video/encoders/PageReveal.h"
#include "main/video/encoders/PendingChange.h"
#include "main/video/encoders/QuantizerControl.h"

namespace webrtc {
class H264BitstreamParser;
}

namespace vantora {

// One layer in constrained baseline, which decoders of every offered profile can decode, at the level that the size
// needs, with its own rate control (QuantizerControl): with the one of OpenH264 the first frame of a page of text takes
// the link seconds to send, and nothing else is shown until it is sent. Thread: the library's encoder queue, which also
// owns it.
class OpenH264Encoder final : public webrtc::VideoEncoder {
 public:
  // The time since any fixed instant; never runs backwards.
  using Clock = std::function<QuantizerControl::Time()>;

  // `format`: H264 as negotiated. Without packetization-mode=1 a frame is split into NAL units that fit into packets.
  // `clock` is read for each frame; empty: the monotonic clock. The link sends in real time: of two frames that waited
  // for the encoder and are encoded one right after the other, the second finds the link busy, whatever their
  // timestamps say.
  explicit OpenH264Encoder(const webrtc::SdpVideoFormat& format, Clock clock = {});
  ~OpenH264Encoder() override;
  OpenH264Encoder(const OpenH264Encoder&) = delete;
  OpenH264Encoder& operator=(const OpenH264Encoder&) = delete;

  // WEBRTC_VIDEO_CODEC_ERR_PARAMETER for another codec, or a size or frame rate below 1;
  // WEBRTC_VIDEO_CODEC_ERR_SIMULCAST_PARAMETERS_NOT_SUPPORTED for more than one stream; WEBRTC_VIDEO_CODEC_ERROR for
  // what OpenH264 cannot take.
  int InitEncode(const webrtc::VideoCodec* codec, const Settings& settings) override;
  int32_t RegisterEncodeCompleteCallback(webrtc::EncodedImageCallback* callback) override;
  int32_t Release() override;
  // Nothing is reported for a dropped frame: the library detects it when the next one arrives.
  // WEBRTC_VIDEO_CODEC_ERR_PARAMETER for a frame of another size than in InitEncode().
  int32_t Encode(const webrtc::VideoFrame& frame, const std::vector<webrtc::VideoFrameType>* types) override;
  // Nothing is encoded while the rate is 0; the first frame after that is a key frame.
  void SetRates(const RateControlParameters& parameters) override;
  EncoderInfo GetEncoderInfo() const override;

 private:
  bool chooseSearch(QuantizerControl::Time now);
  std::optional<int> plan(QuantizerControl::Time now);
  std::optional<int> planPage(QuantizerControl::Time now);
  std::optional<int> planPart(QuantizerControl::Time now);
  void showRows(double bits);
  int nextStep() const;
  rtc::scoped_refptr<webrtc::I420BufferInterface> sourceOf(
      const rtc::scoped_refptr<webrtc::I420BufferInterface>& buffer, int step);
  void deliver(const webrtc::VideoFrame& frame);

  const webrtc::H264PacketizationMode packetization_;
  const Clock clock_;
  std::unique_ptr<OpenH264Instance> encoder_;
  // Reads the quantizers of the encoded frames; needs them in the order in which they are sent.
  std::unique_ptr<webrtc::H264BitstreamParser> parser_;
  // Describes on which frames a frame depends.
  std::unique_ptr<webrtc::ScalableVideoController> dependencies_;
  webrtc::EncodedImageCallback* callback_ = nullptr;

  double bitsPerSecond_ = 0;
  // Has a value while the encoder is open.
  std::optional<QuantizerControl> control_;
  ChangeDetector changes_;
  PendingChange pending_;
  // A new page on its way, and when the last one came.
  PageReveal page_;
  std::optional<QuantizerControl::Time> pageAt_;
  // The planned frame is a part of it.
  bool isPart_ = false;
  // The picture that was encoded last, and by how many rows its content had moved.
  rtc::scoped_refptr<webrtc::I420BufferInterface> lastSource_;
  int lastStep_ = 0;
  bool lastSourceIsTouched_ = false;
  // When content moved further than the encoder's mode for cameras searches.
  std::optional<QuantizerControl::Time> movedFar_;
  // Whether the next frame is to be a key frame.
  bool keyFramePending_ = true;
};

}  // namespace vantora
