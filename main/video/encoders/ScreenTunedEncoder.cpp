#include "main/video/encoders/ScreenTunedEncoder.h"

#include <api/video_codecs/video_codec.h>
#include <modules/video_coding/include/video_error_codes.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace vantora {
namespace {

// The coarsest quantizer of VP8 and VP9. The library stops at 56.
constexpr unsigned kCoarsestVpxQuantizer = ScreenRateControl::kCoarsest;
// The finest useful ones. VP9 and AV1 would be lossless at 0.
constexpr int kFinestVp8Quantizer = 0;
constexpr int kFinestQuantizer = 2;
// A key frame counts as still being sent while it needs more than this many seconds.
constexpr double kStillBeingSent = 0.15;
// What a key frame shows of stripes that follow later.
constexpr int kGrey = 126;
constexpr int kNoColour = 128;
// Encoders start threads with their first frames.
constexpr int kFirstFrames = 3;

}  // namespace

ScreenTunedEncoder::ScreenTunedEncoder(std::unique_ptr<webrtc::VideoEncoder> encoder,
                                       std::shared_ptr<FrameControl> control,
                                       std::shared_ptr<const KeyFrameRequest> request,
                                       std::function<double()> cpuSeconds)
    : encoder_(std::move(encoder)),
      control_(std::move(control)),
      request_(std::move(request)),
      cpuSeconds_(cpuSeconds ? std::move(cpuSeconds) : [this] { return cpu_.seconds(); }),
      answeredRequests_(request_->count()) {}

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
  *control_ = {};
  rate_.reset();
  if (tuned.codecType != webrtc::kVideoCodecH264) {
    // Encoders drop frames in a row, without regard to their content; text that scrolls meanwhile is then out of range
    // of the motion search.
    tuned.SetFrameDropEnabled(false);
    const bool isVp8 = tuned.codecType == webrtc::kVideoCodecVP8;
    rate_.emplace(tuned.width, tuned.height, isVp8 ? kFinestVp8Quantizer : kFinestQuantizer, isVp8);
    rate_->setRate(tuned.startBitrate * 1000.0);
  }
  firstPending_ = true;
  queued_ = {};
  changes_ = {};
  lastSeen_ = nullptr;
  keyFrameQueued_ = {};
  queued_.setRate(tuned.startBitrate * 1000.0);
  load_ = EncoderLoad(settings.number_of_cores);
  framesTimed_ = 0;
  unseen_.reset();
  cpu_.reset();
  cpu_.beforeStart();
  const int result = encoder_->InitEncode(&tuned, settings);
  cpu_.afterStart();
  return result;
}

int32_t ScreenTunedEncoder::RegisterEncodeCompleteCallback(webrtc::EncodedImageCallback* callback) {
  callback_ = callback;
  return encoder_->RegisterEncodeCompleteCallback(callback ? this : nullptr);
}

webrtc::EncodedImageCallback::Result ScreenTunedEncoder::OnEncodedImage(const webrtc::EncodedImage& image,
                                                                        const webrtc::CodecSpecificInfo* info) {
  const double bits = static_cast<double>(image.size()) * 8;
  encodedBits_ += bits;
  queued_.add(bits);
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
  const bool key = isKeyFrameDue(now, types);
  webrtc::VideoFrame::UpdateRect rect = frame.update_rect();  // The whole frame when there is none.
  if (rate_) {
    const auto buffer = frame.video_frame_buffer()->ToI420();
    if (!buffer) {
      lastSeen_ = nullptr;
      changes_ = {};  // The next frame's update rectangle will be relative to this frame.
      return WEBRTC_VIDEO_CODEC_ERR_PARAMETER;
    }
    const double share = changes_.changedShare(frame, *buffer);
    if (share > 0) {
      rate_->noteChange(share, changes_.changedRows().top, changes_.changedRows().bottom);
    } else if (!rect.IsEmpty() && lastSeen_ && !sameColours(*lastSeen_, *buffer)) {
      rate_->noteChange(ChangeDetector::kColourShare, rect.offset_y, rect.offset_y + rect.height);
    }
    lastSeen_ = buffer;
  }
  if (unseen_) rect.Union(*unseen_);
  if (!load_.isDue(now) && !key) {
    unseen_ = rect;
    return leaveOut();
  }
  const size_t count = types ? types->size() : 1;
  if (rate_) return encodePlanned(frame, key, count);
  if (!std::exchange(unseen_, std::nullopt)) return encodeTimed(frame, key, count);
  webrtc::VideoFrame whole = frame;
  whole.set_update_rect(rect);
  return encodeTimed(whole, key, count);
}

// A key frame is for a viewer that missed the beginning of one; packets lost from one that is still being sent are
// retransmitted on request.
bool ScreenTunedEncoder::isKeyFrameDue(int64_t nowUs, const std::vector<webrtc::VideoFrameType>* types) {
  (void)queued_.seconds(nowUs);
  seenRequests_ = request_->count();
  const bool stillBeingSent = keyFrameQueued_.seconds(nowUs) > kStillBeingSent;
  if (stillBeingSent) answeredRequests_ = seenRequests_;
  const bool asked = types && std::ranges::find(*types, webrtc::VideoFrameType::kVideoFrameKey) != types->end();
  return firstPending_ || ((asked || seenRequests_ != answeredRequests_) && !stillBeingSent);
}

int32_t ScreenTunedEncoder::leaveOut() {
  callback_->OnDroppedFrame(DropReason::kDroppedByEncoder);
  return WEBRTC_VIDEO_CODEC_OK;
}

int32_t ScreenTunedEncoder::encodePlanned(const webrtc::VideoFrame& frame, bool key, size_t types) {
  const auto plan = rate_->plan(frame.timestamp_us(), key);
  if (!plan) return leaveOut();
  const bool allRows = key || (plan->first == 0 && plan->end == rate_->stripes());
  *control_ = {};
  control_->quantizer = plan->quantizer;
  if (!allRows) {
    control_->top = plan->first * ScreenRateControl::kStripe;
    control_->bottom = plan->end * ScreenRateControl::kStripe;
  }
  encodedBits_ = 0;
  const bool partOfKey = key && plan->end < rate_->stripes();
  const int32_t result = encodeTimed(partOfKey ? withoutStripes(frame, *plan) : frame, key, types);
  // Without bits the encoder left the frame out: what it was to show is left to the next one.
  if (encodedBits_ > 0) rate_->encoded(encodedBits_);
  return result;
}

int32_t ScreenTunedEncoder::encodeTimed(const webrtc::VideoFrame& frame, bool key, size_t types) {
  const std::vector<webrtc::VideoFrameType> wanted(
      types, key ? webrtc::VideoFrameType::kVideoFrameKey : webrtc::VideoFrameType::kVideoFrameDelta);
  const bool maybeStarts = key || framesTimed_ < kFirstFrames;
  ++framesTimed_;
  if (maybeStarts) cpu_.beforeStart();
  const double before = cpuSeconds_();
  const int32_t result = encoder_->Encode(frame, &wanted);
  if (maybeStarts) cpu_.afterStart();
  load_.encoded(frame.timestamp_us(), std::max(cpuSeconds_() - before, 0.0), key);
  if (result == WEBRTC_VIDEO_CODEC_OK) firstPending_ = false;
  return result;
}

// A key frame with all of a page takes a slow link most of a second. The rows after `plan` are grey until their turn.
webrtc::VideoFrame ScreenTunedEncoder::withoutStripes(const webrtc::VideoFrame& frame,
                                                      const ScreenRateControl::Plan& plan) {
  const auto from = frame.video_frame_buffer()->ToI420();
  const auto part = webrtc::I420Buffer::Copy(*from);
  const int top = std::min(plan.end * ScreenRateControl::kStripe, part->height());
  const auto fill = [](uint8_t* plane, int stride, int first, int end, int value) {
    if (end > first) {
      std::memset(plane + static_cast<std::ptrdiff_t>(first) * stride, value,
                  static_cast<size_t>(end - first) * static_cast<size_t>(stride));
    }
  };
  fill(part->MutableDataY(), part->StrideY(), top, part->height(), kGrey);
  fill(part->MutableDataU(), part->StrideU(), top / 2, part->ChromaHeight(), kNoColour);
  fill(part->MutableDataV(), part->StrideV(), top / 2, part->ChromaHeight(), kNoColour);
  webrtc::VideoFrame whole = frame;
  whole.set_video_frame_buffer(part);
  return whole;
}

void ScreenTunedEncoder::SetRates(const RateControlParameters& parameters) {
  const double rate = parameters.bitrate.get_sum_bps();
  queued_.setRate(rate);
  keyFrameQueued_.setRate(rate);
  if (rate_) rate_->setRate(rate);
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
