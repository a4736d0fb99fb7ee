// The encoders as the WebRTC library uses them, on pages of text.
#include <api/video/i420_buffer.h>
#include <api/video/video_frame.h>
#include <api/video_codecs/video_codec.h>
#include <api/video_codecs/video_encoder.h>
#include <api/video_codecs/video_encoder_factory.h>
#include <gtest/gtest.h>
#include <modules/video_coding/include/video_codec_interface.h>
#include <modules/video_coding/include/video_error_codes.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <fstream>
#include <random>
#include <string>

#include "base/FreeMemory.h"
#include "main/video/encoders/EncoderFactory.h"
#include "main/video/encoders/QuantizerControl.h"
#include "tests/fakes/Timeout.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;

constexpr int kWidth = 1280;
constexpr int kHeight = 720;

// Lines of letters, 6 by 12 pixels each; every `page` has another text.
rtc::scoped_refptr<webrtc::I420Buffer> textPage(int page) {
  auto buffer = webrtc::I420Buffer::Create(kWidth, kHeight);
  webrtc::I420Buffer::SetBlack(buffer.get());
  uint32_t state = 2463534242U + static_cast<uint32_t>(page) * 77U;
  for (int line = 0; line < kHeight / 12; ++line) {
    for (int column = 0; column < kWidth / 6; ++column) {
      state ^= state << 13;
      state ^= state >> 17;
      state ^= state << 5;
      if (state % 5 == 0) continue;  // A blank between words.
      for (int y = 0; y < 9; ++y) {
        for (int x = 0; x < 5; ++x) {
          if (state >> ((y / 2 * 5 + x) % 25) & 1U) {
            buffer->MutableDataY()[(line * 12 + y) * buffer->StrideY() + column * 6 + x] = 230;
          }
        }
      }
    }
  }
  return buffer;
}

// Page 1 with one word that is different for every `count`.
rtc::scoped_refptr<webrtc::I420Buffer> typedPage(int count) {
  auto buffer = textPage(1);
  for (int y = 360; y < 369; ++y) {
    for (int x = 0; x < 40; ++x) {
      const bool ink = ((count * 7 + x / 2 + y) & 2) != 0;
      buffer->MutableDataY()[y * buffer->StrideY() + 600 + x] = ink ? 230 : 0;
    }
  }
  return buffer;
}

// Three screens of text with realistic spacing and 26 different letters.
rtc::scoped_refptr<webrtc::I420Buffer> longText() {
  constexpr int kCellWidth = 9;
  constexpr int kCellHeight = 18;
  auto buffer = webrtc::I420Buffer::Create(kWidth, 3 * kHeight);
  webrtc::I420Buffer::SetBlack(buffer.get());
  std::minstd_rand random(7);
  std::array<std::uint32_t, 26> letters{};
  for (std::uint32_t& letter : letters) letter = static_cast<std::uint32_t>(random());
  for (int line = 0; line < 3 * kHeight / kCellHeight; ++line) {
    for (int column = 0; column < kWidth / kCellWidth; ++column) {
      if (random() % 6 == 0) continue;  // A blank between words.
      const std::uint32_t letter = letters[random() % letters.size()];
      for (int y = 0; y < 10; ++y) {
        uint8_t* row = buffer->MutableDataY() + (line * kCellHeight + y) * buffer->StrideY() + column * kCellWidth;
        for (int x = 0; x < 6; ++x) row[x] = letter >> (y / 2 * 3 + x / 2) & 1U ? 230 : 0;
      }
    }
  }
  return buffer;
}

// One screen of that text, scrolled by `scrolled` rows.
rtc::scoped_refptr<webrtc::I420Buffer> scrolledPage(int scrolled) {
  static const auto kText = longText();
  const int top = scrolled % (2 * kHeight);
  auto buffer = webrtc::I420Buffer::Create(kWidth, kHeight);
  webrtc::I420Buffer::SetBlack(buffer.get());
  for (int y = 0; y < kHeight; ++y) {
    std::copy_n(kText->DataY() + (top + y) * kText->StrideY(), kWidth, buffer->MutableDataY() + y * buffer->StrideY());
  }
  return buffer;
}

struct Collected : webrtc::EncodedImageCallback {
  struct Frame {
    size_t bytes;
    bool key;
    int width;
    int height;
    int quantizer;
  };
  std::vector<Frame> frames;
  Result OnEncodedImage(const webrtc::EncodedImage& image, const webrtc::CodecSpecificInfo*) override {
    frames.push_back({image.size(), image._frameType == webrtc::VideoFrameType::kVideoFrameKey,
                      static_cast<int>(image._encodedWidth), static_cast<int>(image._encodedHeight), image.qp_});
    return Result(Result::OK);
  }
};

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

// As in the program, before anything is allocated.
[[maybe_unused]] const bool kTuned = (tuneAllocator(), true);

// Resident memory of this process that no file backs, in MiB.
double residentMemory() {
  std::ifstream status("/proc/self/status");
  std::string word;
  while (status >> word && word != "RssAnon:") {
  }
  double kilobytes = 0;
  status >> kilobytes;
  return kilobytes / 1024;
}

struct CodecCase {
  const char* name;
  webrtc::VideoCodecType type;
  // Resident memory that it may take at this size, in MiB.
  int memory;
};
void PrintTo(const CodecCase& value, std::ostream* out) { *out << value.name; }

class ScreenEncodersTest : public testing::TestWithParam<CodecCase> {
 protected:
  void start(uint32_t kbps, webrtc::VideoCodecMode mode) {
    std::map<std::string, std::string> parameters;
    if (GetParam().type == webrtc::kVideoCodecH264) parameters["packetization-mode"] = "1";
    encoder_ = makeVideoEncoderFactory(request_, [this] {
                 return std::chrono::microseconds(timestamp_ * 100 / 9);
               })->CreateVideoEncoder(webrtc::SdpVideoFormat(GetParam().name, parameters));
    ASSERT_TRUE(encoder_);
    webrtc::VideoCodec codec;
    codec.codecType = GetParam().type;
    codec.width = kWidth;
    codec.height = kHeight;
    codec.startBitrate = kbps;
    codec.maxBitrate = kbps;
    codec.minBitrate = 30;
    codec.maxFramerate = 15;
    codec.qpMax = GetParam().type == webrtc::kVideoCodecH264 ? 51 : 56;
    codec.mode = mode;
    codec.active = true;
    codec.numberOfSimulcastStreams = 1;
    codec.simulcastStream[0] = {};
    codec.simulcastStream[0].width = kWidth;
    codec.simulcastStream[0].height = kHeight;
    codec.simulcastStream[0].maxFramerate = 15;
    codec.simulcastStream[0].numberOfTemporalLayers = 1;
    codec.simulcastStream[0].maxBitrate = kbps;
    codec.simulcastStream[0].targetBitrate = kbps;
    codec.simulcastStream[0].qpMax = codec.qpMax;
    codec.simulcastStream[0].active = true;
    codec.SetScalabilityMode(webrtc::ScalabilityMode::kL1T1);
    if (codec.codecType == webrtc::kVideoCodecVP8) {
      *codec.VP8() = webrtc::VideoEncoder::GetDefaultVp8Settings();
      codec.VP8()->numberOfTemporalLayers = 1;
    } else if (codec.codecType == webrtc::kVideoCodecVP9) {
      *codec.VP9() = webrtc::VideoEncoder::GetDefaultVp9Settings();
      codec.VP9()->numberOfTemporalLayers = 1;
      codec.VP9()->numberOfSpatialLayers = 1;
    } else if (codec.codecType == webrtc::kVideoCodecH264) {
      *codec.H264() = webrtc::VideoEncoder::GetDefaultH264Settings();
      codec.H264()->numberOfTemporalLayers = 1;
    }
    ASSERT_EQ(encoder_->InitEncode(&codec,
                                   webrtc::VideoEncoder::Settings(webrtc::VideoEncoder::Capabilities(false), 2, 1200)),
              WEBRTC_VIDEO_CODEC_OK);
    encoder_->RegisterEncodeCompleteCallback(&collected_);
    setRate(kbps);
  }
  void setRate(uint32_t kbps) {
    webrtc::VideoBitrateAllocation allocation;
    allocation.SetBitrate(0, 0, kbps * 1000);
    encoder_->SetRates(webrtc::VideoEncoder::RateControlParameters(allocation, 15));
  }
  // Returns the bytes of the encoded frame, 0 if it was dropped.
  size_t encode(const rtc::scoped_refptr<webrtc::I420Buffer>& buffer, bool key = false) {
    const size_t before = collected_.frames.size();
    timestamp_ += 6000;
    const auto frame = webrtc::VideoFrame::Builder()
                           .set_video_frame_buffer(buffer)
                           .set_timestamp_rtp(timestamp_)
                           .set_timestamp_us(timestamp_ * 100 / 9)
                           .build();
    const std::vector<webrtc::VideoFrameType> types{key ? webrtc::VideoFrameType::kVideoFrameKey
                                                        : webrtc::VideoFrameType::kVideoFrameDelta};
    EXPECT_EQ(encoder_->Encode(frame, &types), WEBRTC_VIDEO_CODEC_OK);
    return collected_.frames.size() == before ? 0 : collected_.frames.back().bytes;
  }

  // Time without a frame.
  void pass(std::chrono::milliseconds time) { timestamp_ += static_cast<uint32_t>(time.count() * 90); }

  std::shared_ptr<KeyFrameRequest> request_ = std::make_shared<KeyFrameRequest>();
  std::unique_ptr<webrtc::VideoEncoder> encoder_;
  Collected collected_;
  uint32_t timestamp_ = 0;
};

TEST_P(ScreenEncodersTest, startsWithAKeyFrameOfTheSizeAskedFor) {
  start(2000, webrtc::VideoCodecMode::kScreensharing);
  encode(textPage(1), true);
  ASSERT_EQ(collected_.frames.size(), 1U);
  EXPECT_TRUE(collected_.frames[0].key);
  EXPECT_EQ(collected_.frames[0].width, kWidth);
  EXPECT_EQ(collected_.frames[0].height, kHeight);
}

TEST_P(ScreenEncodersTest, usesLittleMemory) {
  if (kSanitized) GTEST_SKIP() << "the sanitizers have allocators of their own";
  returnFreeMemory();
  const auto page = textPage(1);
  const auto other = textPage(2);
  const double before = residentMemory();
  start(6000, webrtc::VideoCodecMode::kScreensharing);
  encode(page, true);
  for (int i = 0; i < 10; ++i) encode(i % 5 == 0 ? other : page);
  EXPECT_LT(residentMemory() - before, GetParam().memory);
}

TEST_P(ScreenEncodersTest, makesAKeyFrameOnRequestAndNoneOnItsOwn) {
  start(4000, webrtc::VideoCodecMode::kScreensharing);
  encode(textPage(1), true);
  size_t keys = 0;
  // Frames are dropped while the first one is being sent.
  testloop::Timeout timeout;
  for (int i = 0; collected_.frames.size() < 10; ++i) {
    ASSERT_FALSE(timeout.isOver());
    encode(typedPage(i));
  }
  for (const auto& frame : collected_.frames) keys += frame.key ? 1 : 0;
  EXPECT_EQ(keys, 1U);
  // A frame may be dropped while earlier ones are waiting: the next one that is not becomes the key frame.
  bool again = false;
  for (int i = 0; i < 20 && !again; ++i) {
    encode(textPage(3), true);
    again = collected_.frames.back().key && collected_.frames.size() > 1;
  }
  EXPECT_TRUE(again);
}

TEST_P(ScreenEncodersTest, makesOneKeyFrameForARequest) {
  start(4000, webrtc::VideoCodecMode::kScreensharing);
  encode(textPage(1), true);
  collected_.frames.clear();
  pass(3s);
  request_->request();
  testloop::Timeout timeout;
  for (int i = 0; collected_.frames.size() < 5; ++i) {
    ASSERT_FALSE(timeout.isOver());
    encode(typedPage(i));
  }
  EXPECT_TRUE(collected_.frames[0].key);
  for (size_t i = 1; i < 5; ++i) EXPECT_FALSE(collected_.frames[i].key) << i;
}

TEST_P(ScreenEncodersTest, grantsARequestByTheKeyFrameThatIsStillBeingSent) {
  start(1000, webrtc::VideoCodecMode::kScreensharing);
  ASSERT_GT(encode(textPage(1), true), 0.25 * 1'000'000 / 8);
  collected_.frames.clear();
  request_->request();
  testloop::Timeout timeout;
  for (int i = 0; collected_.frames.size() < 3; ++i) {
    ASSERT_FALSE(timeout.isOver());
    encode(typedPage(i));
  }
  for (const auto& frame : collected_.frames) EXPECT_FALSE(frame.key);
}

// While the rest of the page is still coarse. A stripe of the finest quality takes AV1 longer than expected.
TEST_P(ScreenEncodersTest, makesNoFrameOfHalfASecondWhileSomebodyTypesOnASlowLink) {
  const double longest = GetParam().type == webrtc::kVideoCodecAV1 ? 0.9 : 0.5;
  start(1000, webrtc::VideoCodecMode::kScreensharing);
  encode(textPage(1), true);
  for (int i = 0; i < 60; ++i) {
    EXPECT_LE(encode(typedPage(i / 2)), longest * 1'000'000 / 8) << i;
    pass(50ms);
  }
}

TEST_P(ScreenEncodersTest, keepsFramesOfTextThatScrollsComingOnASlowLink) {
  constexpr int kSecond = 15;
  constexpr int kSeconds = 4;
  // VP8's motion search finds text only if it has moved by a few lines.
  const bool searchesNearby = GetParam().type == webrtc::kVideoCodecVP8;
  const int step = searchesNearby ? 8 : 24;
  const unsigned kbps = searchesNearby ? 400 : 600;
  start(kbps, webrtc::VideoCodecMode::kScreensharing);
  size_t bytes = encode(scrolledPage(0), true);
  size_t page = bytes;
  int late = 0;
  for (int i = 1; i < kSeconds * kSecond; ++i) {
    const size_t each = encode(scrolledPage(step * i));
    bytes += each;
    page = std::max(page, each);
    late += i >= kSecond && each > 0 ? 1 : 0;
  }
  EXPECT_GE(late, 8 * (kSeconds - 1));
  EXPECT_LE(bytes, kbps * 125 * kSeconds + page);
}

INSTANTIATE_TEST_SUITE_P(Codecs, ScreenEncodersTest,
                         testing::Values(CodecCase{"VP8", webrtc::kVideoCodecVP8, 37},
                                         CodecCase{"VP9", webrtc::kVideoCodecVP9, 70},
                                         CodecCase{"H264", webrtc::kVideoCodecH264, 26},
                                         CodecCase{"AV1", webrtc::kVideoCodecAV1, 45}),
                         [](const auto& each) { return std::string(each.param.name); });

class H264EncoderTest : public ScreenEncodersTest {};

TEST_P(H264EncoderTest, keepsAPageOfTextToAFractionOfASecondOfASlowLink) {
  for (const auto mode : {webrtc::VideoCodecMode::kScreensharing, webrtc::VideoCodecMode::kRealtimeVideo}) {
    start(1000, mode);
    EXPECT_LE(encode(textPage(1), true), 0.8 * 1'000'000 / 8);
  }
}

TEST_P(H264EncoderTest, makesAStillPageSharpWithTheBitsLeftOver) {
  constexpr int kFrames = 5 * 15;  // Five seconds.
  start(3000, webrtc::VideoCodecMode::kScreensharing);
  const auto page = textPage(1);
  const size_t first = encode(page, true);
  size_t more = 0;
  for (int i = 0; i < kFrames; ++i) more += encode(page);
  EXPECT_EQ(collected_.frames.back().quantizer, QuantizerControl::kFinest);
  EXPECT_GE(more, first / 2);
  EXPECT_LE(first + more, 5 * 3'000'000 / 8);
}

INSTANTIATE_TEST_SUITE_P(Codecs, H264EncoderTest, testing::Values(CodecCase{"H264", webrtc::kVideoCodecH264, 26}));

class Vp9EncoderTest : public ScreenEncodersTest {};

// The library's own encoder stops at 208, quantizer 52 of 63.
TEST_P(Vp9EncoderTest, becomesAsCoarseAsTheCodecGoesOnAVerySlowLink) {
  start(100, webrtc::VideoCodecMode::kScreensharing);
  encode(textPage(1), true);
  EXPECT_EQ(collected_.frames.back().quantizer, 255);
}

TEST_P(Vp9EncoderTest, makesAPageFinerStepByStepOnASlowLink) {
  start(1000, webrtc::VideoCodecMode::kScreensharing);
  const auto page = textPage(1);
  encode(page, true);
  for (int i = 0; i < 60; ++i) {
    encode(page);
    pass(200ms);
  }
  const auto& frames = collected_.frames;
  for (size_t i = 1; i < frames.size(); ++i) {
    EXPECT_LE(frames[i].quantizer, frames[i - 1].quantizer) << i;
    EXPECT_LE(frames[i].bytes, 0.4 * 1'000'000 / 8) << i;
  }
  EXPECT_LT(frames.back().quantizer, 10);
}

INSTANTIATE_TEST_SUITE_P(Codecs, Vp9EncoderTest, testing::Values(CodecCase{"VP9", webrtc::kVideoCodecVP9, 70}));

}  // namespace
}  // namespace vantora
