// Shared by the tests of the H.264 encoder. Heavy header (WebRTC library).
#pragma once

#include <api/video/i420_buffer.h>
#include <api/video/video_frame.h>
#include <api/video_codecs/video_codec.h>
#include <common_video/h264/h264_common.h>
#include <gtest/gtest.h>
#include <modules/video_coding/include/video_codec_interface.h>
#include <modules/video_coding/include/video_error_codes.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "main/video/encoders/OpenH264Encoder.h"

namespace vantora::testh264 {

using namespace std::chrono_literals;
using FrameType = webrtc::VideoFrameType;
using Rect = webrtc::VideoFrame::UpdateRect;
using Buffer = rtc::scoped_refptr<webrtc::I420Buffer>;

constexpr int kWidth = 320;
constexpr int kHeight = 192;

struct Frame {
  std::vector<uint8_t> bytes;
  bool key;
  uint32_t width;
  uint32_t height;
  int quantizer;
  webrtc::CodecSpecificInfo info;

  std::vector<webrtc::H264::NaluIndex> units() const {
    return webrtc::H264::FindNaluIndices(bytes.data(), bytes.size());
  }
  size_t largestUnit() const {
    size_t largest = 0;
    for (const auto& unit : units()) largest = std::max(largest, unit.payload_size);
    return largest;
  }
  // Its sequence parameter set, beginning with the type; empty without one.
  std::vector<uint8_t> parameters() const {
    for (const auto& unit : units()) {
      const uint8_t* start = bytes.data() + unit.payload_start_offset;
      if (webrtc::H264::ParseNaluType(*start) == webrtc::H264::kSps) return {start, start + unit.payload_size};
    }
    return {};
  }
};

struct Out : webrtc::EncodedImageCallback {
  std::vector<Frame> frames;
  int dropped = 0;
  Result OnEncodedImage(const webrtc::EncodedImage& image, const webrtc::CodecSpecificInfo* info) override {
    frames.push_back({{image.data(), image.data() + image.size()},
                      image._frameType == FrameType::kVideoFrameKey,
                      image._encodedWidth,
                      image._encodedHeight,
                      image.qp_,
                      *info});
    return Result(Result::OK);
  }
  void OnDroppedFrame(DropReason) override { ++dropped; }
};

inline Buffer flat(uint8_t shade, int width = kWidth, int height = kHeight) {
  auto buffer = webrtc::I420Buffer::Create(width, height);
  webrtc::I420Buffer::SetBlack(buffer.get());
  std::fill_n(buffer->MutableDataY(), buffer->StrideY() * height, shade);
  return buffer;
}

// Costs many bits.
inline Buffer noise(unsigned seed, int width = kWidth, int height = kHeight) {
  auto buffer = flat(0, width, height);
  std::minstd_rand random(seed);
  std::generate_n(buffer->MutableDataY(), buffer->StrideY() * height,
                  [&] { return static_cast<uint8_t>(random() % 200); });
  return buffer;
}

inline webrtc::VideoCodec codecOf(int width = kWidth, int height = kHeight, unsigned kbps = 3000) {
  webrtc::VideoCodec codec;
  codec.codecType = webrtc::kVideoCodecH264;
  codec.width = static_cast<uint16_t>(width);
  codec.height = static_cast<uint16_t>(height);
  codec.startBitrate = kbps;
  codec.maxFramerate = 30;
  codec.mode = webrtc::VideoCodecMode::kRealtimeVideo;
  codec.numberOfSimulcastStreams = 1;
  *codec.H264() = webrtc::VideoEncoder::GetDefaultH264Settings();
  return codec;
}

inline webrtc::SdpVideoFormat formatOf(const std::map<std::string, std::string>& parameters) {
  return webrtc::SdpVideoFormat("H264", parameters);
}

class OpenH264EncoderTest : public testing::Test {
 protected:
  explicit OpenH264EncoderTest(const std::map<std::string, std::string>& parameters = {{"packetization-mode", "1"}})
      : encoder_(formatOf(parameters)) {
    encoder_.RegisterEncodeCompleteCallback(&out_);
  }

  int open(const webrtc::VideoCodec& codec = codecOf(), size_t payload = 1200) {
    return encoder_.InitEncode(&codec,
                               webrtc::VideoEncoder::Settings(webrtc::VideoEncoder::Capabilities(false), 2, payload));
  }
  void setRate(uint32_t kbps) {
    webrtc::VideoBitrateAllocation allocation;
    allocation.SetBitrate(0, 0, kbps * 1000);
    encoder_.SetRates(webrtc::VideoEncoder::RateControlParameters(allocation, 30));
  }
  int32_t encode(const Buffer& buffer, bool key = false, std::chrono::microseconds later = 33ms,
                 const absl::optional<Rect>& rect = {}) {
    time_ += later;
    const auto frame = webrtc::VideoFrame::Builder()
                           .set_video_frame_buffer(buffer)
                           .set_timestamp_us(time_.count())
                           .set_update_rect(rect)
                           .build();
    const std::vector<FrameType> types{key ? FrameType::kVideoFrameKey : FrameType::kVideoFrameDelta};
    return encoder_.Encode(frame, &types);
  }
  // The same; returns whether a frame was made.
  bool comes(const Buffer& buffer, bool key = false, std::chrono::microseconds later = 33ms,
             const absl::optional<Rect>& rect = {}) {
    const size_t before = out_.frames.size();
    EXPECT_EQ(encode(buffer, key, later, rect), WEBRTC_VIDEO_CODEC_OK);
    return out_.frames.size() > before;
  }
  const Frame& last() const { return out_.frames.back(); }

  OpenH264Encoder encoder_;
  Out out_;
  std::chrono::microseconds time_ = 1s;
};

}  // namespace vantora::testh264
