#include "main/video/encoders/OpenH264Encoder.h"

#include <api/video/i420_buffer.h>
#include <api/video/video_frame.h>
#include <common_video/h264/h264_bitstream_parser.h>
#include <modules/video_coding/include/video_codec_interface.h>
#include <modules/video_coding/include/video_error_codes.h>
#include <modules/video_coding/svc/create_scalability_structure.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

#include "main/video/encoders/ScrollPath.h"

namespace vantora {
namespace {

constexpr int kBlock = 16;

// A page on its way ends with a change of this share of the frame.
constexpr double kLargeChange = 0.1;
// From this share of new content on, a frame costs as much as a key frame.
constexpr double kNewPage = 0.6;
// Pages that follow each other sooner are a moving picture.
constexpr std::chrono::milliseconds kPageInterval{500};
// Quantizer at which text is readable: about 30 dB.
constexpr int kReadable = 33;
// Bits for each block of a hidden part of a page.
constexpr double kHiddenBits = 12;
// With finer quantizers OpenH264 does not keep to the size of a packet.
constexpr int kFinestInPackets = 14;
// OpenH264 fails where a block takes too many bits; at this quantizer none does.
constexpr int kSafe = 26;
// As many rows the encoder's mode for cameras finds text again that has moved.
constexpr int kNearRows = 10;
constexpr int kMoreRows = 4;
constexpr int kMaxStep = 24;
// The mode for screens is left when nothing has moved further for so long.
constexpr std::chrono::seconds kFarMotionEnds{30};

webrtc::H264PacketizationMode packetizationOf(const webrtc::SdpVideoFormat& format) {
  const auto mode = format.parameters.find("packetization-mode");
  return mode != format.parameters.end() && mode->second == "1" ? webrtc::H264PacketizationMode::NonInterleaved
                                                                : webrtc::H264PacketizationMode::SingleNalUnit;
}

// In its mode for screens OpenH264 does not encode again what is the same as in the last picture and has a quantizer up
// to 26, or one that is little coarser than the new one. So one pixel of each of its blocks is made different, by 1.
rtc::scoped_refptr<webrtc::I420BufferInterface> touched(const webrtc::I420BufferInterface& picture) {
  constexpr int kCompared = 8;
  auto buffer = webrtc::I420Buffer::Copy(picture);
  for (int y = 0; y < buffer->height(); y += kCompared) {
    uint8_t* row = buffer->MutableDataY() + static_cast<std::ptrdiff_t>(y) * buffer->StrideY();
    for (int x = 0; x < buffer->width(); x += kCompared) row[x] ^= 1;
  }
  return buffer;
}

QuantizerControl::Time monotonicTime() { return std::chrono::steady_clock::now().time_since_epoch(); }

constexpr int blocksIn(int pixels) { return (pixels + kBlock - 1) / kBlock; }

}  // namespace

OpenH264Encoder::OpenH264Encoder(const webrtc::SdpVideoFormat& format, Clock clock)
    : packetization_(packetizationOf(format)), clock_(clock ? std::move(clock) : monotonicTime) {}

OpenH264Encoder::~OpenH264Encoder() = default;

int OpenH264Encoder::InitEncode(const webrtc::VideoCodec* codec, const Settings& settings) {
  Release();
  if (!codec || codec->codecType != webrtc::kVideoCodecH264 || codec->width < 1 || codec->height < 1 ||
      codec->maxFramerate < 1) {
    return WEBRTC_VIDEO_CODEC_ERR_PARAMETER;
  }
  if (codec->numberOfSimulcastStreams > 1) return WEBRTC_VIDEO_CODEC_ERR_SIMULCAST_PARAMETERS_NOT_SUPPORTED;
  const bool whole = packetization_ == webrtc::H264PacketizationMode::NonInterleaved;
  encoder_ = OpenH264Instance::open(*codec, settings, whole);
  if (!encoder_) return WEBRTC_VIDEO_CODEC_ERROR;

  parser_ = std::make_unique<webrtc::H264BitstreamParser>();
  dependencies_ = webrtc::CreateScalabilityStructure(webrtc::ScalabilityMode::kL1T1);
  control_.emplace(blocksIn(codec->width) * blocksIn(codec->height),
                   whole ? QuantizerControl::kFinest : kFinestInPackets);
  changes_ = {};
  pending_ = {};
  keyFramePending_ = true;
  page_.end();
  pageAt_.reset();
  movedFar_.reset();
  lastSource_ = nullptr;
  lastStep_ = 0;
  bitsPerSecond_ = encoder_->startBitrate();
  if (bitsPerSecond_ > 0) control_->setRate(bitsPerSecond_);
  return WEBRTC_VIDEO_CODEC_OK;
}

// Motion search in the encoder's screen content mode finds text that has moved by hundreds of lines, in camera mode by
// a dozen. But screen content mode takes 9 ms more for every frame of 1920 x 1080, even for one typed character, and
// the change over makes a key frame: it is used from the first far motion on, and left with a new page. False: the
// encoder cannot be used any more.
bool OpenH264Encoder::chooseSearch(QuantizerControl::Time now) {
  if (encoder_->keepsSearch()) return true;
  if (pending_.longestScroll > kNearRows || (control_->searchFailed() && pending_.scrolledBy != 0)) {
    movedFar_ = now;
    if (encoder_->searchesFar()) return true;
  } else if (!encoder_->searchesFar() || pending_.largestFresh < kNewPage ||
             (movedFar_ && now - *movedFar_ < kFarMotionEnds)) {
    return true;
  }
  keyFramePending_ = true;
  return encoder_->switchSearch();
}

int32_t OpenH264Encoder::RegisterEncodeCompleteCallback(webrtc::EncodedImageCallback* callback) {
  callback_ = callback;
  return WEBRTC_VIDEO_CODEC_OK;
}

int32_t OpenH264Encoder::Release() {
  encoder_.reset();
  return WEBRTC_VIDEO_CODEC_OK;
}

void OpenH264Encoder::SetRates(const RateControlParameters& parameters) {
  if (!encoder_ || parameters.framerate_fps < 1) return;
  const double bitsPerSecond = parameters.bitrate.get_sum_bps();
  if (bitsPerSecond > 0 && bitsPerSecond_ <= 0) keyFramePending_ = true;
  bitsPerSecond_ = bitsPerSecond;
  if (bitsPerSecond_ > 0) control_->setRate(bitsPerSecond_);
}

int32_t OpenH264Encoder::Encode(const webrtc::VideoFrame& frame, const std::vector<webrtc::VideoFrameType>* types) {
  if (!encoder_ || !callback_) return WEBRTC_VIDEO_CODEC_UNINITIALIZED;
  const auto buffer = frame.video_frame_buffer()->ToI420();
  if (!buffer || buffer->width() != encoder_->width() || buffer->height() != encoder_->height()) {
    changes_ = {};  // The next frame's update rectangle will be relative to this frame.
    return WEBRTC_VIDEO_CODEC_ERR_PARAMETER;
  }
  pending_.add(changes_, frame, *buffer, page_.isActive() ? nullptr : lastSource_.get());
  if (types && std::ranges::find(*types, webrtc::VideoFrameType::kVideoFrameKey) != types->end())
    keyFramePending_ = true;
  if (bitsPerSecond_ <= 0) return WEBRTC_VIDEO_CODEC_OK;

  const QuantizerControl::Time now = clock_();
  if (!chooseSearch(now)) {
    Release();
    return WEBRTC_VIDEO_CODEC_ERROR;
  }
  std::optional<int> quantizer = plan(now);
  if (!quantizer) return WEBRTC_VIDEO_CODEC_OK;
  const int step = nextStep();
  const auto source = sourceOf(buffer, step);
  const auto encodeIt = [&] {
    return encoder_->encode(*source, frame.timestamp_us() / 1000, *quantizer, keyFramePending_);
  };
  if (!encodeIt()) {
    if (*quantizer >= kSafe) return WEBRTC_VIDEO_CODEC_ERROR;
    quantizer = kSafe;
    keyFramePending_ = true;
    if (!encoder_->reopen() || !encodeIt()) return WEBRTC_VIDEO_CODEC_ERROR;
  }
  const auto bits = [this] { return static_cast<double>(encoder_->outputBytes()) * 8; };
  const auto better =
      isPart_ ? std::nullopt : control_->retryQuantizer(*quantizer, pending_.change, encoder_->outputIsKey(), bits());
  if (better) {
    // The frame just encoded is discarded; only a key frame does not depend on it.
    quantizer = better;
    keyFramePending_ = true;
    if (!encodeIt()) return WEBRTC_VIDEO_CODEC_ERROR;
  }
  // OpenH264 skipped the frame: what it was to show, or to begin with, is left to the next one.
  if (encoder_->outputBytes() == 0) return WEBRTC_VIDEO_CODEC_OK;
  control_->encoded(*quantizer, pending_.change, encoder_->outputIsKey() && !isPart_, bits());
  if (step == pending_.scrolledBy) {
    pending_ = {};
  } else {
    pending_.scrolledBy -= step;
    pending_.longestScroll = 0;
  }
  lastSource_ = source;
  lastStep_ = step;
  keyFramePending_ = false;
  deliver(frame);
  return WEBRTC_VIDEO_CODEC_OK;
}

// The encoder's mode for cameras finds what moves somewhat faster than before. When frames were dropped meanwhile,
// the next few are made to catch up: a jump would cost as much as a new page. Returns by how many rows the content of
// the next frame is to move.
int OpenH264Encoder::nextStep() const {
  const int distance = pending_.scrolledBy;
  const int reach =
      std::min(kMaxStep, kMoreRows + (lastStep_ * distance > 0 ? std::abs(lastStep_) / kMoreRows * kMoreRows : 0));
  const bool far =
      !encoder_->searchesFar() && !keyFramePending_ && !isPart_ && std::abs(distance) > std::max(reach, kNearRows);
  if (!far || !lastSource_ || pending_.change.fresh > kNewPage * pending_.change.share) return distance;
  return distance > 0 ? reach : -reach;
}

rtc::scoped_refptr<webrtc::I420BufferInterface> OpenH264Encoder::sourceOf(
    const rtc::scoped_refptr<webrtc::I420BufferInterface>& buffer, int step) {
  if (isPart_) return page_.source(*buffer);
  const bool isRefinement = pending_.change.share == 0 && !keyFramePending_;
  if (isRefinement && encoder_->searchesFar() && !lastSourceIsTouched_) {
    lastSourceIsTouched_ = true;
    return touched(*buffer);
  }
  lastSourceIsTouched_ = false;
  if (step == pending_.scrolledBy) return buffer;
  return scrolledPartly(*lastSource_, *buffer, pending_.area.offset_y, pending_.area.offset_y + pending_.area.height,
                        pending_.scrolledBy, step);
}

std::optional<int> OpenH264Encoder::plan(QuantizerControl::Time now) {
  isPart_ = false;
  if (pending_.scrolledBy == 0 && (keyFramePending_ || pending_.largestFresh >= kNewPage)) return planPage(now);
  if (page_.isActive()) {
    if (pending_.change.share < kLargeChange) return planPart(now);
    const double hidden = static_cast<double>(page_.hidden()) / page_.rows();
    pending_.change.fresh = std::max(pending_.change.fresh, hidden);
    pending_.change.share = std::max(pending_.change.share, hidden);
    page_.end();
  }
  return control_->plan(pending_.change, keyFramePending_, now);
}

// The quantizer of the first frame of a new page.
std::optional<int> OpenH264Encoder::planPage(QuantizerControl::Time now) {
  const std::optional<int> quantizer = control_->plan(pending_.change, keyFramePending_, now);
  if (!quantizer) return std::nullopt;
  const bool follows = pageAt_ && now - *pageAt_ < kPageInterval;
  pageAt_ = now;
  page_.end();
  if (*quantizer <= kReadable || follows) return quantizer;
  page_.start(encoder_->height());
  control_->startPage(kReadable);
  pending_.change = {};
  showRows(control_->firstPartBudget() - kHiddenBits * page_.rows() * blocksIn(encoder_->width()));
  return kReadable;
}

// The quantizer of the next part of a page.
std::optional<int> OpenH264Encoder::planPart(QuantizerControl::Time now) {
  const double budget = control_->nextPartBudget(now);
  const int rows = page_.rows();
  const int shown = page_.showTouched(pending_.touched);
  pending_.change =
      QuantizerControl::Change::whole(std::max(pending_.change.share, static_cast<double>(shown) / std::max(rows, 1)));
  const double needed = control_->expectedFresh(pending_.change.share, kReadable);
  if (pending_.touched.empty() && !control_->isIdle() && budget < control_->expectedFresh(1.0 / rows, kReadable))
    return std::nullopt;
  if (page_.isActive()) showRows(budget - needed);
  isPart_ = true;
  return kReadable;
}

// Shows as many more rows of the page as `bits` suffice for.
void OpenH264Encoder::showRows(double bits) {
  const int rows = page_.rows();
  const double each = control_->expectedFresh(1.0 / rows, kReadable);
  const int shown = std::clamp(static_cast<int>(bits / each), pending_.touched.empty() ? 1 : 0, page_.hidden());
  page_.show(shown);
  pending_.change =
      QuantizerControl::Change::whole(std::min(1.0, pending_.change.share + static_cast<double>(shown) / rows));
  isPart_ = true;
}

void OpenH264Encoder::deliver(const webrtc::VideoFrame& frame) {
  webrtc::EncodedImage encoded;
  encoded.SetEncodedData(encoder_->output());
  encoded._encodedWidth = static_cast<uint32_t>(encoder_->width());
  encoded._encodedHeight = static_cast<uint32_t>(encoder_->height());
  encoded._frameType =
      encoder_->outputIsKey() ? webrtc::VideoFrameType::kVideoFrameKey : webrtc::VideoFrameType::kVideoFrameDelta;
  encoded.SetTimestamp(frame.timestamp());
  encoded.SetColorSpace(frame.color_space());
  encoded.SetSpatialIndex(0);
  parser_->ParseBitstream(encoded);
  encoded.qp_ = parser_->GetLastSliceQp().value_or(-1);

  webrtc::CodecSpecificInfo info;
  info.codecType = webrtc::kVideoCodecH264;
  info.codecSpecific.H264.packetization_mode = packetization_;
  info.codecSpecific.H264.temporal_idx = webrtc::kNoTemporalIdx;
  info.codecSpecific.H264.base_layer_sync = false;
  info.codecSpecific.H264.idr_frame = encoder_->outputIsKey();
  info.generic_frame_info =
      dependencies_->OnEncodeDone(dependencies_->NextFrameConfig(encoder_->outputIsKey()).front());
  if (encoder_->outputIsKey()) info.template_structure = dependencies_->DependencyStructure();
  callback_->OnEncodedImage(encoded, &info);
}

webrtc::VideoEncoder::EncoderInfo OpenH264Encoder::GetEncoderInfo() const {
  EncoderInfo info;
  info.supports_native_handle = false;
  info.implementation_name = "OpenH264";
  info.has_trusted_rate_controller = true;
  info.is_hardware_accelerated = false;
  info.scaling_settings = ScalingSettings::kOff;  // Text stays readable: fewer bits, never fewer pixels.
  info.preferred_pixel_formats = {webrtc::VideoFrameBuffer::Type::kI420};
  return info;
}

}  // namespace vantora
