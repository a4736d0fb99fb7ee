// Which frames ScreenTunedEncoder leaves out and which it encodes, with a fake encoder that makes frames of any size in
// any time.
#include <api/video/i420_buffer.h>
#include <api/video/video_frame.h>
#include <api/video_codecs/video_codec.h>
#include <gtest/gtest.h>
#include <modules/video_coding/include/video_error_codes.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "main/video/encoders/ScreenTunedEncoder.h"
#include "tests/fakes/Timeout.h"

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
  double cpu = 0.001;  // Seconds for a frame.

  bool dropsFrames = false;
  double cpuUsed = 0;
  std::vector<bool> keys;  // Of each frame: whether it was to be a key frame.
  std::vector<FrameControl> controls;
  std::vector<Rect> rects;
  rtc::scoped_refptr<webrtc::I420BufferInterface> last;
};

class ScriptedEncoder final : public webrtc::VideoEncoder {
 public:
  ScriptedEncoder(std::shared_ptr<Script> script, std::shared_ptr<const FrameControl> control)
      : script_(std::move(script)), control_(std::move(control)) {}

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
    script_->controls.push_back(*control_);
    script_->rects.push_back(frame.update_rect());
    script_->last = frame.video_frame_buffer()->ToI420();
    script_->cpuUsed += script_->cpu;
    const size_t bytes = key ? script_->key : script_->delta;
    if (bytes == 0) return WEBRTC_VIDEO_CODEC_OK;
    webrtc::EncodedImage image;
    image.SetEncodedData(webrtc::EncodedImageBuffer::Create(bytes));
    image._frameType = key ? FrameType::kVideoFrameKey : FrameType::kVideoFrameDelta;
    image.SetTimestamp(frame.timestamp());
    callback_->OnEncodedImage(image, nullptr);
    return WEBRTC_VIDEO_CODEC_OK;
  }
  void SetRates(const RateControlParameters&) override {}
  EncoderInfo GetEncoderInfo() const override { return {}; }

 private:
  std::shared_ptr<Script> script_;
  std::shared_ptr<const FrameControl> control_;
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

class FrameDropTest : public testing::TestWithParam<Codec> {
 protected:
  void open(Codec type) {
    const auto control = std::make_shared<FrameControl>();
    encoder_ = std::make_unique<ScreenTunedEncoder>(std::make_unique<ScriptedEncoder>(script_, control), control,
                                                    request_, [script = script_] { return script->cpuUsed; });
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
  EXPECT_FALSE(encode(279, 0.02)) << "0.2 s more, from 0.06 s on";
  EXPECT_TRUE(encode(341, 0.02));
  EXPECT_EQ(out_.dropped, 3);
}

TEST_P(FrameDropTest, beginsWithAKeyFrameThatNobodyAskedFor) {
  open(GetParam());
  ASSERT_TRUE(encode(0, 1));
  EXPECT_TRUE(out_.frames.back().key);
}

TEST_P(FrameDropTest, encodesOnlyTheStripesOfASmallChange) {
  open(GetParam());
  first(0.001);
  ASSERT_TRUE(encode(200, 0.03));
  EXPECT_EQ(script_->controls.back().top, 0);
  EXPECT_EQ(script_->controls.back().bottom, ScreenRateControl::kStripe);
}

TEST_P(FrameDropTest, encodesNothingOnceTheViewerHasItAll) {
  open(GetParam());
  first(0.001);
  int64_t ms = 100;
  testloop::Timeout timeout;
  for (; encode(ms, 0); ms += 100) ASSERT_FALSE(timeout.isOver());
  const size_t before = script_->keys.size();
  for (int i = 0; i < 10; ++i) EXPECT_FALSE(encode(ms += 100, 0));
  EXPECT_EQ(script_->keys.size(), before);
  EXPECT_TRUE(encode(ms += 100, 0, true)) << "but for a viewer that has just joined";
  EXPECT_TRUE(encode(ms += 100, 0.02));
}

TEST_P(FrameDropTest, showsAChangeOfColourOnly) {
  open(GetParam());
  first(0.001);
  int64_t ms = 100;
  testloop::Timeout timeout;
  for (; encode(ms, 0); ms += 100) ASSERT_FALSE(timeout.isOver());
  page_->MutableDataU()[kSide / 4 * page_->StrideU()] = 200;
  EXPECT_TRUE(encode(ms += 100, 0));
  EXPECT_FALSE(encode(ms += 100, 0)) << "once";
}

TEST_P(FrameDropTest, showsAgainWhatTheEncoderDropped) {
  open(GetParam());
  first(0.001);
  script_->delta = 0;
  EXPECT_FALSE(encode(100, 1));
  script_->delta = bytesOf(0.001);
  ASSERT_TRUE(encode(200, 0));
  EXPECT_EQ(script_->controls.back().bottom, std::numeric_limits<int>::max()) << "all of it";
}

TEST_P(FrameDropTest, fillsWhatAKeyFrameHasNoTimeForWithGrey) {
  open(GetParam());
  setRate(10'000);
  ASSERT_TRUE(encode(0, 1, true));
  const auto& last = *script_->last;
  EXPECT_EQ(last.DataY()[0], page_->DataY()[0]);
  EXPECT_EQ(last.DataY()[(kSide - 1) * last.StrideY()], 126);
  EXPECT_EQ(page_->DataY()[(kSide - 1) * page_->StrideY()], 0) << "the source's frame stays as it was";
  ASSERT_TRUE(encode(2000, 0));
  EXPECT_EQ(script_->controls.back().top, ScreenRateControl::kStripe) << "the next stripe follows";
}

TEST_P(FrameDropTest, leavesFramesOutEvenlyThatTakeTooMuchOfTheProcessor) {
  open(GetParam());
  script_->cpu = 0.025;  // Every second of 60 a second fits into the share of two cores.
  std::vector<int> encoded;
  for (int i = 0; i < 120; ++i) {
    if (encode(i * 1000 / 60, 1)) encoded.push_back(i);
  }
  const auto steady = std::ranges::find_if(encoded, [](int i) { return i > 30; });
  ASSERT_GT(encoded.end() - steady, 40);
  for (auto each = steady + 1; each != encoded.end(); ++each) EXPECT_EQ(*each - each[-1], 2) << *each;
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

// The H.264 encoder's own rate control does all of this.
TEST_F(FrameDropTest, leavesH264Alone) {
  open(Codec::kVideoCodecH264);
  EXPECT_TRUE(script_->dropsFrames);
  first(2);
  script_->delta = bytesOf(2);
  for (int i = 1; i <= 5; ++i) EXPECT_TRUE(encode(i * 66, 1));
  EXPECT_EQ(out_.dropped, 0);
  EXPECT_EQ(script_->keys.size(), 6U);
  for (const FrameControl& control : script_->controls) EXPECT_LT(control.quantizer, 0);
}

// It reads a frame only where it says that it changed since the frame before.
TEST_F(FrameDropTest, tellsH264WhatChangedInFramesThatTookTooMuchOfTheProcessor) {
  open(Codec::kVideoCodecH264);
  script_->cpu = 0.025;
  const Rect changed{0, 0, kBlock, kBlock};
  const Rect elsewhere{64, 64, kBlock, kBlock};
  int i = 0;
  for (; i < 60; ++i) encode(i * 1000 / 60, 0.01, i == 0, changed);
  while (encode(i * 1000 / 60, 0.01, false, changed)) ++i;
  // That one was left out.
  ++i;
  ASSERT_TRUE(encode(i * 1000 / 60, 0.01, false, elsewhere));
  Rect both = changed;
  both.Union(elsewhere);
  EXPECT_EQ(script_->rects.back(), both);
}

TEST_F(FrameDropTest, makesAFrameThatDependsOnTheKeyFrameStillBeingSentInsteadOfASecondOneForH264) {
  open(Codec::kVideoCodecH264);
  first(0.3);
  ASSERT_TRUE(encode(16, 0.05, true));
  EXPECT_EQ(script_->keys, (std::vector<bool>{true, false}));
}

}  // namespace
}  // namespace vantora
