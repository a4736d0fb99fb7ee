// An open encoder of OpenH264. Heavy header (WebRTC library): include it in .cpp files only.
#pragma once

#include <api/video/encoded_image.h>
#include <api/video_codecs/video_encoder.h>
#include <third_party/openh264/src/codec/api/svc/codec_api.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vantora {

// OpenH264's handle, its parameters and what it made of the last frame. Its own rate control is off: each frame has the
// quantizer that it is called with. One thread at a time.
class OpenH264Instance {
 public:
  // For the size and frame rate of `codec`, each at least 1. With `wholeFrames` each thread encodes one slice;
  // otherwise one thread makes NAL units that fit into packets. Null if OpenH264 cannot take that.
  static std::unique_ptr<OpenH264Instance> open(const webrtc::VideoCodec& codec,
                                                const webrtc::VideoEncoder::Settings& settings, bool wholeFrames);

  int width() const { return parameters_.iPicWidth; }
  int height() const { return parameters_.iPicHeight; }
  // Bits per second of the first frames.
  int startBitrate() const { return parameters_.iTargetBitrate; }

  // Whether motion search finds text that has moved by hundreds of lines (OpenH264's mode for screens), or only by a
  // dozen (for cameras), as at first.
  bool searchesFar() const { return parameters_.iUsageType == SCREEN_CONTENT_REAL_TIME; }
  // OpenH264 could not be opened with the other motion search and keeps the one that it has.
  bool keepsSearch() const { return keepsSearch_; }

  // After these two the next frame is a key frame. False: the instance cannot be used any more.
  bool reopen();
  bool switchSearch();

  // Encodes `picture`, of this size. False: OpenH264 has failed, and there is no output.
  bool encode(const webrtc::I420BufferInterface& picture, int64_t timestampMs, int quantizer, bool key);

  // What the last encode() has made. 0 bytes: OpenH264 skipped the frame.
  bool outputIsKey() const { return output_.eFrameType == videoFrameTypeIDR; }
  size_t outputBytes() const;
  // All NAL units, with start codes.
  rtc::scoped_refptr<webrtc::EncodedImageBuffer> output() const;

 private:
  struct Destroy {
    void operator()(ISVCEncoder* encoder) const;
  };

  OpenH264Instance() = default;
  void setParameters(const webrtc::VideoCodec& codec, const webrtc::VideoEncoder::Settings& settings, bool wholeFrames);
  bool initialize();

  std::unique_ptr<ISVCEncoder, Destroy> encoder_;
  SEncParamExt parameters_{};
  // The bytes belong to the encoder.
  SFrameBSInfo output_{};
  bool keepsSearch_ = false;
};

}  // namespace vantora
