// Which frames ScreenTunedEncoder drops, discards and passes on, with a fake encoder that makes frames of any size.
#include <api/video/i420_buffer.h>
#include <api/video/video_frame.h>
#include <api/video_codecs/video_codec.h>
#include <gtest/gtest.h>
#include <modules/video_coding/include/video_error_codes.h>

#include <algorithm>
#include <cmath>

#include "main/video/encoders/ScreenTunedEncoder.h"

namespace vantora {
namespace {

using Codec = webrtc::VideoCodecType;
using FrameType = webrtc::VideoFrameType;
using Rect = webrtc::VideoFrame::UpdateRect;

constexpr uint32_t kRate = 1'000'000;
constexpr int kSide = 160;
constexpr int kBlock = 16;
constexpr int kBlocks = (kSide / kBlock) * (kSide / kBlock);

// Bytes that the link sends in `seconds`.
constexpr size_t bytesOf(double seconds) { return static_cast<size_t>(seconds * kRate / 8); }

// What the fake encoder makes next, and how it was called.
struct Script {
  size_t delta = bytesOf(0.001);
  size_t key = bytesOf(0.001);
  // Of a key frame at a rate of at most 30 kbit/s.
  size_t coarseKey = bytesOf(0.16);

  bool dropsFrames = false;
  std::vector<webrtc::VideoEncoder::RateControlParameters> rates;
  std::vector<bool> keys;  // Of each frame: whether it was to be a key frame.
};

class ScriptedEncoder final : public webrtc::VideoEncoder {
 public:
  explicit ScriptedEncoder(std::shared_ptr<Script> script) : script_(std::move(script)) {}

  int InitEncode(const webrtc::VideoCodec* codec, const Settings&) override {
    script_->dropsFrames = codec->GetFrameDropEnabled();
    return WEBRTC_VIDEO_CODEC_OK;
  }
  int32_t RegisterEncodeCompleteCallback(webrtc::EncodedImageCallback* callback) override {
    callback_ = callback;
    return WEBRTC_VIDEO_CODEC_OK;
  }
  int32_t Release() override { return WEBRTC_VIDEO_CODEC_OK; }
  int32_t Encode(const webrtc::VideoFrame& frame, const std::vector<FrameType>* types) override {
    const bool key = types && std::ranges::find(*types, FrameType::kVideoFrameKey) != types->end();
    script_->keys.push_back(key);
    const bool coarse = script_->rates.back().bitrate.get_sum_bps() <= 30'000;
    webrtc::EncodedImage image;
    image.SetEncodedData(webrtc::EncodedImageBuffer::Create(!key     ? script_->delta
                                                            : coarse ? script_->coarseKey
                                                                     : script_->key));
    image._frameType = key ? FrameType::kVideoFrameKey : FrameType::kVideoFrameDelta;
    image.SetTimestamp(frame.timestamp());
    callback_->OnEncodedImage(image, nullptr);
    return WEBRTC_VIDEO_CODEC_OK;
  }
  void SetRates(const RateControlParameters& parameters) override { script_->rates.push_back(parameters); }
  EncoderInfo GetEncoderInfo() const override { return {}; }

 private:
  std::shared_ptr<Script> script_;
  webrtc::EncodedImageCallback* callback_ = nullptr;
};

struct Out : webrtc::EncodedImageCallback {
  struct Frame {
    bool key;
    size_t bytes;
    bool operator==(const Frame&) const = default;
  };
  std::vector<Frame> frames;
  int dropped = 0;

  Result OnEncodedImage(const webrtc::EncodedImage& image, const webrtc::CodecSpecificInfo*) override {
    frames.push_back({image._frameType == FrameType::kVideoFrameKey, image.size()});
    return Result(Result::OK);
  }
  void OnDroppedFrame(DropReason) override { ++dropped; }
};
void PrintTo(const Out::Frame& frame, std::ostream* out) {
  *out << (frame.key ? "key frame of " : "frame of ") << frame.bytes;
}

class FrameDropTest : public testing::TestWithParam<Codec> {
 protected:
  void open(Codec type) {
    encoder_ = std::make_unique<ScreenTunedEncoder>(std::make_unique<ScriptedEncoder>(script_), request_);
    openAgain(type);
  }
  void openAgain(Codec type) {
    webrtc::VideoCodec codec;
    codec.codecType = type;
    codec.width = kSide;
    codec.height = kSide;
    codec.startBitrate = kRate / 1000;
    codec.SetFrameDropEnabled(true);
    ASSERT_EQ(encoder_->InitEncode(&codec,
                                   webrtc::VideoEncoder::Settings(webrtc::VideoEncoder::Capabilities(false), 2, 1200)),
              WEBRTC_VIDEO_CODEC_OK);
    encoder_->RegisterEncodeCompleteCallback(&out_);
    setRate(kRate);
  }
  void setRate(uint32_t bitsPerSecond) {
    webrtc::VideoBitrateAllocation allocation;
    allocation.SetBitrate(0, 0, bitsPerSecond);
    encoder_->SetRates(webrtc::VideoEncoder::RateControlParameters(allocation, 30));
  }
  // Encodes a frame at `ms` of which the share `changed` (0 to 1) differs from the one before, with `rect` as its
  // update rectangle; returns whether it was passed on.
  bool encode(int64_t ms, double changed, bool key = false, const absl::optional<Rect>& rect = {}) {
    const int blocks = static_cast<int>(std::lround(changed * kBlocks));
    ++shade_;
    for (int block = 0; block < blocks; ++block) {
      const int x = block % (kSide / kBlock) * kBlock;
      const int y = block / (kSide / kBlock) * kBlock;
      page_->MutableDataY()[y * page_->StrideY() + x] = shade_;
    }
    const auto frame = webrtc::VideoFrame::Builder()
                           .set_video_frame_buffer(webrtc::I420Buffer::Copy(*page_))
                           .set_timestamp_us(ms * 1000)
                           .set_update_rect(rect)
                           .build();
    const std::vector<FrameType> types{key ? FrameType::kVideoFrameKey : FrameType::kVideoFrameDelta};
    const size_t before = out_.frames.size();
    EXPECT_EQ(encoder_->Encode(frame, &types), WEBRTC_VIDEO_CODEC_OK);
    return out_.frames.size() > before;
  }
  // Encodes the first frame, at 0 ms, which the link sends in `seconds`.
  void first(double seconds) {
    script_->key = bytesOf(seconds);
    ASSERT_TRUE(encode(0, 1, true));
  }
  double toldFps() const { return script_->rates.back().framerate_fps; }

  std::shared_ptr<Script> script_ = std::make_shared<Script>();
  std::shared_ptr<KeyFrameRequest> request_ = std::make_shared<KeyFrameRequest>();
  std::unique_ptr<ScreenTunedEncoder> encoder_;
  Out out_;
  rtc::scoped_refptr<webrtc::I420Buffer> page_ = [] {
    auto page = webrtc::I420Buffer::Create(kSide, kSide);
    webrtc::I420Buffer::SetBlack(page.get());
    return page;
  }();
  uint8_t shade_ = 100;
};

TEST_P(FrameDropTest, leavesFramesOutWhileTheLinkIsBusyButNoKeyFrame) {
  open(GetParam());
  EXPECT_FALSE(script_->dropsFrames) << "only one leaves frames out";
  first(0.2);
  EXPECT_FALSE(encode(66, 0.02));
  EXPECT_FALSE(encode(139, 0.02));
  EXPECT_EQ(out_.dropped, 2);
  EXPECT_EQ(script_->keys.size(), 1U) << "the encoder never saw them";
  EXPECT_TRUE(encode(140, 0, true));
  EXPECT_FALSE(encode(339, 0.02)) << "0.2 s more, from 0.06 s on";
  EXPECT_TRUE(encode(341, 0.02));
  EXPECT_EQ(out_.dropped, 3);
}

TEST_P(FrameDropTest, replacesAFrameThatIsMuchTooLargeByACoarseKeyFrame) {
  open(GetParam());
  first(0.1);
  script_->delta = bytesOf(0.8);
  ASSERT_TRUE(encode(1000, 1));
  EXPECT_EQ(script_->keys, (std::vector<bool>{true, false, true}));
  ASSERT_EQ(out_.frames.size(), 2U) << "only the second one gets out";
  EXPECT_EQ(out_.frames.back(), (Out::Frame{true, script_->coarseKey}));
  EXPECT_EQ(script_->rates.back().bitrate.get_sum_bps(), kRate) << "the rate is what it was";
  EXPECT_FALSE(encode(1080, 0.05)) << "0.16 s wait, not 0.96 and not 0";
  EXPECT_TRUE(encode(1101, 0.05));
}

TEST_P(FrameDropTest, replacesAKeyFrameThatIsMuchTooLarge) {
  open(GetParam());
  first(0.8);
  EXPECT_EQ(out_.frames, (std::vector<Out::Frame>{{true, script_->coarseKey}}));
}

TEST_P(FrameDropTest, keepsALargeFrameThatIsNoSmallerAsACoarseKeyFrame) {
  open(GetParam());
  script_->coarseKey = bytesOf(0.9);
  first(1.2);
  ASSERT_EQ(out_.frames.back().bytes, script_->coarseKey);
  script_->delta = bytesOf(1.0);
  ASSERT_TRUE(encode(10'000, 1));
  EXPECT_EQ(out_.frames.back(), (Out::Frame{false, script_->delta}));
  EXPECT_EQ(script_->keys.size(), 3U);
}

TEST_P(FrameDropTest, keepsAFrameInWhichLittleChanged) {
  open(GetParam());
  first(0.1);
  script_->delta = bytesOf(5);
  ASSERT_TRUE(encode(1000, 0.05));
  EXPECT_EQ(out_.frames.back(), (Out::Frame{false, script_->delta}));
}

TEST_P(FrameDropTest, countsWhatFramesThatWereLeftOutChanged) {
  open(GetParam());
  first(0.2);
  script_->delta = bytesOf(0.8);
  EXPECT_FALSE(encode(66, 1));
  ASSERT_TRUE(encode(1000, 0.01));
  EXPECT_EQ(out_.frames.back(), (Out::Frame{true, script_->coarseKey}));
}

TEST_P(FrameDropTest, searchesForChangesWhereTheFrameSaysThatTheyAre) {
  open(GetParam());
  first(0.1);
  script_->delta = bytesOf(0.8);
  ASSERT_TRUE(encode(800, 1, false, Rect{0, 0, 0, 0}));
  EXPECT_EQ(out_.frames.back(), (Out::Frame{false, script_->delta})) << "nothing changed";
  ASSERT_TRUE(encode(1600, 1, false, Rect{0, 0, kBlock, kSide}));
  EXPECT_EQ(out_.frames.back(), (Out::Frame{true, script_->coarseKey})) << "a tenth did";
}

TEST_P(FrameDropTest, countsWhatFramesThatWereLeftOutSaidToHaveChanged) {
  open(GetParam());
  first(0.2);
  script_->delta = bytesOf(0.8);
  EXPECT_FALSE(encode(66, 1, false, Rect{0, 0, kSide, kSide}));
  ASSERT_TRUE(encode(1000, 0.01, false, Rect{0, 0, kBlock, kBlock}));
  EXPECT_EQ(out_.frames.back(), (Out::Frame{true, script_->coarseKey}));
}

TEST_P(FrameDropTest, tellsTheTimeSinceTheLastFrameAsTheFrameRate) {
  open(GetParam());
  first(0.001);
  encode(100, 0.05);
  EXPECT_DOUBLE_EQ(toldFps(), 10);
  encode(102, 0.05);
  EXPECT_DOUBLE_EQ(toldFps(), 120);
  encode(102, 0.05);
  EXPECT_DOUBLE_EQ(toldFps(), 120);
  encode(1102, 0.05);
  EXPECT_DOUBLE_EQ(toldFps(), 4);
  encode(2102, 0.5);
  EXPECT_DOUBLE_EQ(toldFps(), 12);
  EXPECT_EQ(script_->rates.back().bitrate.get_sum_bps(), kRate);
  script_->key = bytesOf(0.1);
  encode(2202, 0, true);
  EXPECT_FALSE(encode(2212, 0.02)) << "left out";
  encode(2327, 0.02);
  EXPECT_DOUBLE_EQ(toldFps(), 8);
}

TEST_P(FrameDropTest, passesAZeroRateOnUnchanged) {
  open(GetParam());
  first(0.001);
  setRate(0);
  const size_t told = script_->rates.size();
  encode(5000, 0);
  EXPECT_EQ(script_->rates.size(), told);
  EXPECT_EQ(script_->rates.back().bitrate.get_sum_bps(), 0U);
}

TEST_P(FrameDropTest, takesAKeyFrameThatIsStillBeingSentAsARequestGranted) {
  open(GetParam());
  first(0.3);
  request_->request();
  encode(100, 0.05);
  ASSERT_TRUE(encode(400, 0.05));
  EXPECT_FALSE(out_.frames.back().key);
}

// A viewer requests a key frame as soon as it connects, while the first page is still being sent: a second one would
// take the link as long again, and its queue would overflow.
TEST_P(FrameDropTest, takesAKeyFrameThatIsStillBeingSentForOneThatIsAskedFor) {
  open(GetParam());
  first(0.3);
  EXPECT_FALSE(encode(16, 0.02, true));
  EXPECT_FALSE(encode(140, 0.02, true)) << "0.16 s to go";
  EXPECT_EQ(script_->keys.size(), 1U);
  ASSERT_TRUE(encode(160, 0.02, true)) << "0.14 s to go";
  EXPECT_TRUE(out_.frames.back().key);
}

TEST_P(FrameDropTest, startsAgainWithAKeyFrameWhateverIsStillBeingSent) {
  open(GetParam());
  first(0.3);
  openAgain(GetParam());
  ASSERT_TRUE(encode(16, 0.05, true));
  EXPECT_TRUE(out_.frames.back().key);
}

TEST_P(FrameDropTest, grantsARequestOnceTheKeyFrameBeforeIsThrough) {
  open(GetParam());
  first(0.3);
  request_->request();
  ASSERT_TRUE(encode(200, 0.05)) << "0.1 s to go";
  EXPECT_TRUE(out_.frames.back().key);
  ASSERT_TRUE(encode(1000, 0.05));
  EXPECT_FALSE(out_.frames.back().key) << "once";
}

INSTANTIATE_TEST_SUITE_P(Codecs, FrameDropTest,
                         testing::Values(Codec::kVideoCodecVP8, Codec::kVideoCodecVP9, Codec::kVideoCodecAV1),
                         [](const auto& each) { return std::string(webrtc::CodecTypeToPayloadString(each.param)); });

TEST_F(FrameDropTest, letsTextThatMovesThroughToVp8After80Milliseconds) {
  open(Codec::kVideoCodecVP8);
  first(0.4);
  EXPECT_FALSE(encode(66, 1));
  EXPECT_FALSE(encode(79, 1));
  EXPECT_TRUE(encode(80, 1));
  EXPECT_FALSE(encode(150, 0.05)) << "not at once again";
  EXPECT_FALSE(encode(165, 0.02)) << "nor what is no text that moves";
  EXPECT_TRUE(encode(170, 0.2));
}

TEST_F(FrameDropTest, knowsTheKeyFrameThatIsStillBeingSentBehindTextThatMoves) {
  open(Codec::kVideoCodecVP8);
  first(0.4);
  ASSERT_TRUE(encode(80, 1));
  ASSERT_TRUE(encode(160, 1, true)) << "0.24 s to go";
  EXPECT_FALSE(out_.frames.back().key);
  ASSERT_TRUE(encode(260, 1, true)) << "0.14 s to go";
  EXPECT_TRUE(out_.frames.back().key);
}

TEST_F(FrameDropTest, letsTextThatMovesThroughToNoOtherCodec) {
  for (const Codec codec : {Codec::kVideoCodecVP9, Codec::kVideoCodecAV1}) {
    open(codec);
    first(0.4);
    EXPECT_FALSE(encode(100, 1));
    EXPECT_FALSE(encode(300, 1));
    EXPECT_TRUE(encode(345, 1));
  }
}

TEST_F(FrameDropTest, lettingVp8ThroughEndsWithTwoAndAHalfSecondsWaiting) {
  open(Codec::kVideoCodecVP8);
  first(0.4);
  script_->delta = bytesOf(0.48);
  double waiting = 0.4;
  int out = 0;
  for (int i = 1; i <= 60; ++i) {
    waiting = std::max(waiting - 0.08, 0.0);
    const bool came = encode(i * 80, 1);
    EXPECT_EQ(came, waiting <= 2.5) << i;
    if (came) waiting += 0.48;
    out += came ? 1 : 0;
  }
  EXPECT_GT(out, 10);
  EXPECT_LT(out, 30);
}

// The H.264 encoder's own rate control does all of this.
TEST_F(FrameDropTest, leavesH264Alone) {
  open(Codec::kVideoCodecH264);
  EXPECT_TRUE(script_->dropsFrames);
  first(2);
  script_->delta = bytesOf(2);
  for (int i = 1; i <= 5; ++i) EXPECT_TRUE(encode(i * 66, 1));
  EXPECT_EQ(out_.dropped, 0);
  EXPECT_EQ(script_->keys.size(), 6U);
  EXPECT_EQ(script_->rates.size(), 1U);
}

TEST_F(FrameDropTest, makesAFrameThatDependsOnTheKeyFrameStillBeingSentInsteadOfASecondOneForH264) {
  open(Codec::kVideoCodecH264);
  first(0.3);
  ASSERT_TRUE(encode(16, 0.05, true));
  EXPECT_EQ(script_->keys, (std::vector<bool>{true, false}));
}

}  // namespace
}  // namespace vantora
