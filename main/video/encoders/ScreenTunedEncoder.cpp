#include "main/video/encoders/ScreenTunedEncoder.h"

#include <api/video_codecs/video_codec.h>
#include <modules/video_coding/include/video_error_codes.h>

#include <algorithm>
#include <utility>

namespace vantora {
namespace {

// The coarsest quantizer of VP8 and VP9. The library stops at 56 and drops frames instead: scrolling text at 1080p then
// runs at a few frames per second.
constexpr unsigned kCoarsestVpxQuantizer = 63;

// A frame is dropped while earlier ones need more than kMaxWaiting seconds to be sent. Exception: moving text with an
// encoder of short motion search is encoded once kNearbyUs have passed, up to kMaxWaitingMoving seconds of waiting.
constexpr double kMaxWaiting = 0.06;
constexpr int64_t kNearbyUs = 80'000;
constexpr double kMaxWaitingMoving = 2.5;
// A key frame counts as still being sent while it needs more than this many seconds.
constexpr double kStillBeingSent = 0.15;
// A frame with a smaller share of changes is only a refinement.
constexpr double kLargeChange = 0.1;
// Maximum time to send one frame, in seconds.
constexpr double kMaxSeconds = 0.5;
// A frame is encoded again only if that makes it smaller by this factor.
constexpr double kWorthAgain = 1.2;
// A rate in bits per second at which every frame gets the coarsest quantizer.
constexpr uint32_t kLowestRate = 30'000;

// Bounds of the frame rate that is set in encoders, in frames per second.
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
  // Encoders drop frames in a row, without regard to their content; text that scrolls meanwhile is then out of range of
  // the motion search.
  dropsFrames_ = tuned.codecType != webrtc::kVideoCodecH264;
  shortMotionSearch_ = tuned.codecType == webrtc::kVideoCodecVP8;
  if (dropsFrames_) tuned.SetFrameDropEnabled(false);
  queued_ = {};
  changes_ = {};
  changedShare_ = 0;
  coarseKeyBits_ = 0;
  keyFrameQueued_ = {};
  queued_.setRate(tuned.startBitrate * 1000.0);
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
  queued_.add(static_cast<double>(image.size()) * 8);
  if (image._frameType == webrtc::VideoFrameType::kVideoFrameKey) {
    answeredRequests_ = seenRequests_;
    keyFrameQueued_ = queued_;
  }
  return callback_->OnEncodedImage(image, info);
}

void ScreenTunedEncoder::OnDroppedFrame(DropReason reason) { callback_->OnDroppedFrame(reason); }

int32_t ScreenTunedEncoder::Release() { return encoder_->Release(); }

int32_t ScreenTunedEncoder::Encode(const webrtc::VideoFrame& frame, const std::vector<webrtc::VideoFrameType>* types) {
  const int64_t now = frame.timestamp_us();
  const double waiting = queued_.seconds(now);
  seenRequests_ = request_->count();
  // A key frame is for a viewer that missed the beginning of one; packets lost from one that is still being sent are
  // retransmitted on request.
  const bool stillBeingSent = keyFrameQueued_.seconds(now) > kStillBeingSent;
  if (stillBeingSent) answeredRequests_ = seenRequests_;
  const bool asked = types && std::ranges::find(*types, webrtc::VideoFrameType::kVideoFrameKey) != types->end();
  const bool key = (asked || seenRequests_ != answeredRequests_) && !stillBeingSent;
  if (dropsFrames_) {
    const auto buffer = frame.video_frame_buffer()->ToI420();
    if (!buffer) {
      changes_ = {};  // The next frame's update rectangle will be relative to this frame.
      return WEBRTC_VIDEO_CODEC_ERR_PARAMETER;
    }
    changedShare_ = std::min(1.0, changedShare_ + changes_.changedShare(frame, *buffer));
    if (!key && shouldDrop(waiting, now)) {
      callback_->OnDroppedFrame(DropReason::kDroppedByEncoder);
      return WEBRTC_VIDEO_CODEC_OK;
    }
    reportElapsedTime(now);
  }
  const std::vector<webrtc::VideoFrameType> wanted(
      types ? types->size() : 1,
      key ? webrtc::VideoFrameType::kVideoFrameKey : webrtc::VideoFrameType::kVideoFrameDelta);
  return encodeWithinLimit(frame, &wanted);
}

bool ScreenTunedEncoder::shouldDrop(double waiting, int64_t nowUs) const {
  if (waiting <= kMaxWaiting) return false;
  // Text that has moved too far is not found by motion search and costs as much as a new page, which takes even longer.
  const bool movesOn =
      shortMotionSearch_ && changedShare_ >= kLargeChange && encodedUs_ && nowUs - *encodedUs_ >= kNearbyUs;
  return !movesOn || waiting > kMaxWaitingMoving;
}

// The encoder's rate control does not expect an entirely new page: a frame that would keep the link busy for longer
// than kMaxSeconds is discarded and replaced by a coarse key frame, which does not depend on it.
int32_t ScreenTunedEncoder::encodeWithinLimit(const webrtc::VideoFrame& frame,
                                              const std::vector<webrtc::VideoFrameType>* types) {
  if (!dropsFrames_) return encoder_->Encode(frame, types);
  holds_ = true;
  int32_t result = encoder_->Encode(frame, types);
  double bits = 0;
  for (const Encoded& each : held_) bits += static_cast<double>(each.image.size()) * 8;
  const bool key = !held_.empty() && held_.front().image._frameType == webrtc::VideoFrameType::kVideoFrameKey;
  if (result == WEBRTC_VIDEO_CODEC_OK && (key || changedShare_ >= kLargeChange) && isTooLarge(bits)) {
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
  changedShare_ = 0;
  for (const Encoded& each : std::exchange(held_, {}))
    (void)OnEncodedImage(each.image, each.info ? &*each.info : nullptr);
  return result;
}

bool ScreenTunedEncoder::isTooLarge(double bits) const {
  return bits > kMaxSeconds * rates_.bitrate.get_sum_bps() && bits > kWorthAgain * coarseKeyBits_;
}

// The encoders' rate controls assume that each frame lasts one interval of the frame rate. Screens change at any time:
// the bits of a pause would be lost, and those of dropped frames as well.
void ScreenTunedEncoder::reportElapsedTime(int64_t nowUs) {
  if (encodedUs_ && rates_.bitrate.get_sum_bps() > 0) {
    RateControlParameters rates = rates_;
    const double slowest = changedShare_ >= kLargeChange ? kSlowestMoving : kSlowest;
    rates.framerate_fps =
        std::clamp(1e6 / static_cast<double>(std::max<int64_t>(nowUs - *encodedUs_, 1)), slowest, kFastest);
    encoder_->SetRates(rates);
  }
  encodedUs_ = nowUs;
}

void ScreenTunedEncoder::SetRates(const RateControlParameters& parameters) {
  rates_ = parameters;
  queued_.setRate(parameters.bitrate.get_sum_bps());
  keyFrameQueued_.setRate(parameters.bitrate.get_sum_bps());
  encoder_->SetRates(parameters);
}

void ScreenTunedEncoder::OnPacketLossRateUpdate(float lossRate) { encoder_->OnPacketLossRateUpdate(lossRate); }

void ScreenTunedEncoder::OnRttUpdate(int64_t rttMs) { encoder_->OnRttUpdate(rttMs); }

void ScreenTunedEncoder::OnLossNotification(const LossNotification& notification) {
  encoder_->OnLossNotification(notification);
}

webrtc::VideoEncoder::EncoderInfo ScreenTunedEncoder::GetEncoderInfo() const {
  EncoderInfo info = encoder_->GetEncoderInfo();
  // Half the pixels make text unreadable: when bits are short, the image becomes coarser instead.
  info.scaling_settings = ScalingSettings::kOff;
  // Otherwise the library would drop frames as well, without regard to their content.
  info.has_trusted_rate_controller = true;
  return info;
}

}  // namespace vantora
