#include "main/video/encoders/ScreenTunedEncoder.h"

#include <api/video_codecs/video_codec.h>
#include <modules/video_coding/include/video_error_codes.h>

#include <algorithm>
#include <utility>

#include "main/video/encoders/FrameChanges.h"

namespace vantora {
namespace {

// The coarsest quantizer of VP8 and VP9. The library stops at 56 and rather drops frames: scrolling
// text at 1080p then runs at a few frames a second.
constexpr unsigned kCoarsestVpxQuantizer = 63;

// A picture is left out while earlier ones take the link for so many seconds yet; one of text that moves, by an encoder
// that finds it again only nearby, after this time at the latest and up to that many seconds.
constexpr double kMaxWaiting = 0.06;
constexpr int64_t kNearbyUs = 80'000;
constexpr double kMaxWaitingMoving = 2.5;
// A key picture that takes the link for so many seconds yet is still being sent.
constexpr double kStillBeingSent = 0.15;
// Pictures that change less, in parts of the whole, only become finer.
constexpr double kLargeChange = 0.1;
// A picture may take the link's time for so long.
constexpr double kMaxSeconds = 0.5;
// It is coded again when that makes it smaller by this factor.
constexpr double kWorthAgain = 1.2;
// A rate in bits a second at which every picture is as coarse as it gets.
constexpr uint32_t kLowestRate = 30'000;

// Pictures a second that encoders are told.
constexpr double kSlowest = 4;
constexpr double kSlowestMoving = 12;
constexpr double kFastest = 120;

}  // namespace

void ScreenTunedEncoder::SetFecControllerOverride(webrtc::FecControllerOverride* override) {
  encoder_->SetFecControllerOverride(override);
}

int ScreenTunedEncoder::InitEncode(const webrtc::VideoCodec* codec, const Settings& settings) {
  if (!codec) return encoder_->InitEncode(codec, settings);
  webrtc::VideoCodec tuned = *codec;
  if (tuned.codecType == webrtc::kVideoCodecVP8 || tuned.codecType == webrtc::kVideoCodecVP9) {
    tuned.qpMax = kCoarsestVpxQuantizer;
    for (webrtc::SimulcastStream& stream : tuned.simulcastStream) stream.qpMax = kCoarsestVpxQuantizer;
    for (webrtc::SpatialLayer& layer : tuned.spatialLayers) layer.qpMax = kCoarsestVpxQuantizer;
  }
  // Encoders leave pictures out as they are, in a row; text that scrolls on meanwhile is then too far away to be found.
  gated_ = tuned.codecType != webrtc::kVideoCodecH264;
  searchesNearby_ = tuned.codecType == webrtc::kVideoCodecVP8;
  if (gated_) tuned.SetFrameDropEnabled(false);
  waiting_ = {};
  changes_ = {};
  changed_ = 0;
  coarseKeyBits_ = 0;
  keyWaiting_ = {};
  waiting_.setRate(tuned.startBitrate * 1000.0);
  encodedUs_.reset();
  return encoder_->InitEncode(&tuned, settings);
}

int32_t ScreenTunedEncoder::RegisterEncodeCompleteCallback(webrtc::EncodedImageCallback* callback) {
  callback_ = callback;
  return encoder_->RegisterEncodeCompleteCallback(callback ? this : nullptr);
}

webrtc::EncodedImageCallback::Result ScreenTunedEncoder::OnEncodedImage(const webrtc::EncodedImage& image,
                                                                        const webrtc::CodecSpecificInfo* info) {
  if (holds_) {
    held_.push_back({image, info ? std::optional(*info) : std::nullopt});
    return Result(Result::OK);
  }
  waiting_.add(static_cast<double>(image.size()) * 8);
  if (image._frameType == webrtc::VideoFrameType::kVideoFrameKey) {
    granted_ = asked_;
    keyWaiting_ = waiting_;
  }
  return callback_->OnEncodedImage(image, info);
}

void ScreenTunedEncoder::OnDroppedFrame(DropReason reason) { callback_->OnDroppedFrame(reason); }

int32_t ScreenTunedEncoder::Release() { return encoder_->Release(); }

int32_t ScreenTunedEncoder::Encode(const webrtc::VideoFrame& frame, const std::vector<webrtc::VideoFrameType>* types) {
  const int64_t now = frame.timestamp_us();
  const double waiting = waiting_.seconds(now);
  asked_ = wish_->made();
  // Key pictures are for viewers that missed the beginning of one; what they miss of one that is still being sent they
  // ask for packet by packet.
  const bool stillBeingSent = keyWaiting_.seconds(now) > kStillBeingSent;
  if (stillBeingSent) granted_ = asked_;
  const bool asked = types && std::ranges::find(*types, webrtc::VideoFrameType::kVideoFrameKey) != types->end();
  const bool key = (asked || asked_ != granted_) && !stillBeingSent;
  if (gated_) {
    const auto picture = frame.video_frame_buffer()->ToI420();
    if (!picture) {
      changes_ = {};  // What the next frame says about its changes counts from this one.
      return WEBRTC_VIDEO_CODEC_ERR_PARAMETER;
    }
    changed_ = std::min(1.0, changed_ + changedShare(changes_, frame, *picture));
    if (!key && isToBeLeftOut(waiting, now)) {
      callback_->OnDroppedFrame(DropReason::kDroppedByEncoder);
      return WEBRTC_VIDEO_CODEC_OK;
    }
    tellElapsedTime(now);
  }
  const std::vector<webrtc::VideoFrameType> wanted(
      types ? types->size() : 1,
      key ? webrtc::VideoFrameType::kVideoFrameKey : webrtc::VideoFrameType::kVideoFrameDelta);
  return encodeWithinLimit(frame, &wanted);
}

bool ScreenTunedEncoder::isToBeLeftOut(double waiting, int64_t nowUs) const {
  if (waiting <= kMaxWaiting) return false;
  // What has moved too far is not found again and costs as much as a new page, which lasts longer still.
  const bool movesOn = searchesNearby_ && changed_ >= kLargeChange && encodedUs_ && nowUs - *encodedUs_ >= kNearbyUs;
  return !movesOn || waiting > kMaxWaitingMoving;
}

// A page that is new as a whole takes its rate control by surprise: a picture that would keep the link busy for longer
// than kMaxSeconds is thrown away, and a coarse key picture, which needs nothing of it, takes its place.
int32_t ScreenTunedEncoder::encodeWithinLimit(const webrtc::VideoFrame& frame,
                                              const std::vector<webrtc::VideoFrameType>* types) {
  if (!gated_) return encoder_->Encode(frame, types);
  holds_ = true;
  int32_t result = encoder_->Encode(frame, types);
  double bits = 0;
  for (const Encoded& each : held_) bits += static_cast<double>(each.image.size()) * 8;
  const bool key = !held_.empty() && held_.front().image._frameType == webrtc::VideoFrameType::kVideoFrameKey;
  if (result == WEBRTC_VIDEO_CODEC_OK && (key || changed_ >= kLargeChange) && isTooLarge(bits)) {
    held_.clear();
    RateControlParameters low = rates_;
    low.bitrate = webrtc::VideoBitrateAllocation();
    low.bitrate.SetBitrate(0, 0, kLowestRate);
    encoder_->SetRates(low);
    const std::vector<webrtc::VideoFrameType> keys(types ? types->size() : 1, webrtc::VideoFrameType::kVideoFrameKey);
    result = encoder_->Encode(frame, &keys);
    encoder_->SetRates(rates_);
    coarseKeyBits_ = 0;
    for (const Encoded& each : held_) coarseKeyBits_ += static_cast<double>(each.image.size()) * 8;
  }
  holds_ = false;
  changed_ = 0;
  for (const Encoded& each : std::exchange(held_, {}))
    (void)OnEncodedImage(each.image, each.info ? &*each.info : nullptr);
  return result;
}

bool ScreenTunedEncoder::isTooLarge(double bits) const {
  return bits > kMaxSeconds * rates_.bitrate.get_sum_bps() && bits > kWorthAgain * coarseKeyBits_;
}

// The encoders' rate controls take each picture for as long as the rate of pictures says. Screens change at any time:
// the bits of a pause would be lost, and those of pictures that were left out as well.
void ScreenTunedEncoder::tellElapsedTime(int64_t nowUs) {
  if (encodedUs_ && rates_.bitrate.get_sum_bps() > 0) {
    RateControlParameters rates = rates_;
    const double slowest = changed_ >= kLargeChange ? kSlowestMoving : kSlowest;
    rates.framerate_fps =
        std::clamp(1e6 / static_cast<double>(std::max<int64_t>(nowUs - *encodedUs_, 1)), slowest, kFastest);
    encoder_->SetRates(rates);
  }
  encodedUs_ = nowUs;
}

void ScreenTunedEncoder::SetRates(const RateControlParameters& parameters) {
  rates_ = parameters;
  waiting_.setRate(parameters.bitrate.get_sum_bps());
  keyWaiting_.setRate(parameters.bitrate.get_sum_bps());
  encoder_->SetRates(parameters);
}

void ScreenTunedEncoder::OnPacketLossRateUpdate(float lossRate) { encoder_->OnPacketLossRateUpdate(lossRate); }

void ScreenTunedEncoder::OnRttUpdate(int64_t rttMs) { encoder_->OnRttUpdate(rttMs); }

void ScreenTunedEncoder::OnLossNotification(const LossNotification& notification) {
  encoder_->OnLossNotification(notification);
}

webrtc::VideoEncoder::EncoderInfo ScreenTunedEncoder::GetEncoderInfo() const {
  EncoderInfo info = encoder_->GetEncoderInfo();
  // Half the pixels make text unreadable: when bits are short, they are spread thinner instead.
  info.scaling_settings = ScalingSettings::kOff;
  // The library would leave pictures out as well, blind to what is in them.
  info.has_trusted_rate_controller = true;
  return info;
}

}  // namespace vantora
