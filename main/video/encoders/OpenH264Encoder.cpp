#include "main/video/encoders/OpenH264Encoder.h"

#include <api/video/video_frame.h>
#include <common_video/h264/h264_bitstream_parser.h>
#include <modules/video_coding/include/video_codec_interface.h>
#include <modules/video_coding/include/video_error_codes.h>
#include <modules/video_coding/svc/create_scalability_structure.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <limits>
#include <utility>

namespace vantora {
namespace {

constexpr int kBlock = 16;

// From this share of changed blocks on, a frame costs as much as a key frame if motion search finds nothing.
constexpr double kLargeChange = 0.3;
// Minimum interval on a slow link between frames that change by more than kSomeChange: scrolling text is readable with
// half the frames and twice the bits for each.
constexpr double kSomeChange = 0.1;
constexpr std::chrono::milliseconds kSlowLinkInterval{30};

webrtc::H264PacketizationMode packetizationOf(const webrtc::SdpVideoFormat& format) {
  const auto mode = format.parameters.find("packetization-mode");
  return mode != format.parameters.end() && mode->second == "1" ? webrtc::H264PacketizationMode::NonInterleaved
                                                                : webrtc::H264PacketizationMode::SingleNalUnit;
}

// Number of threads for a frame of `pixels`; each encodes one slice. Every slice costs a little quality, and the
// machine has other work: at most half of many cores.
int threadsFor(int pixels, int cores) {
  constexpr int kPixelsOfThread = 1280 * 720 / 2;
  constexpr int kMaxThreads = 4;
  cores = std::max(cores, 1);
  return std::clamp(pixels / kPixelsOfThread, 1, std::min(kMaxThreads, std::max(std::min(cores, 2), cores / 2)));
}

QuantizerControl::Time monotonicTime() { return std::chrono::steady_clock::now().time_since_epoch(); }

constexpr int blocksIn(int pixels) { return (pixels + kBlock - 1) / kBlock; }

}  // namespace

void OpenH264Encoder::Destroy::operator()(ISVCEncoder* encoder) const {
  encoder->Uninitialize();
  WelsDestroySVCEncoder(encoder);
}

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
  ISVCEncoder* made = nullptr;
  if (WelsCreateSVCEncoder(&made) != 0 || !made) return WEBRTC_VIDEO_CODEC_ERROR;
  encoder_.reset(made);
  keepsUsage_ = false;
  usage_ = codec->mode == webrtc::VideoCodecMode::kScreensharing ? SCREEN_CONTENT_REAL_TIME : CAMERA_VIDEO_REAL_TIME;

  const int pixels = codec->width * codec->height;
  encoder_->GetDefaultParams(&parameters_);
  parameters_.iUsageType = usage_;
  parameters_.iPicWidth = codec->width;
  parameters_.iPicHeight = codec->height;
  parameters_.fMaxFrameRate = static_cast<float>(codec->maxFramerate);
  const unsigned startKbps =
      codec->maxBitrate > 0 ? std::min(codec->startBitrate, codec->maxBitrate) : codec->startBitrate;
  parameters_.iTargetBitrate =
      static_cast<int>(std::min<int64_t>(int64_t{startKbps} * 1000, std::numeric_limits<int>::max()));
  parameters_.iMaxBitrate = UNSPECIFIED_BIT_RATE;
  parameters_.iRCMode = RC_OFF_MODE;
  parameters_.bEnableFrameSkip = false;
  // A scene change needs no key frame, which would only be larger. (In screen content mode the encoder enables the
  // detection anyway; then an entirely new page is a key frame.)
  parameters_.bEnableSceneChangeDetect = false;
  parameters_.iMinQp = QuantizerControl::kFinest;
  parameters_.iMaxQp = QuantizerControl::kCoarsest;
  parameters_.uiIntraPeriod = static_cast<unsigned>(std::max(codec->H264().keyFrameInterval, 0));
  // Decoders that restart at every new parameter set then keep running.
  parameters_.eSpsPpsIdStrategy = SPS_LISTING;
  parameters_.iTemporalLayerNum = 1;
  parameters_.iSpatialLayerNum = 1;
  SSpatialLayerConfig& layer = parameters_.sSpatialLayers[0];
  layer.iVideoWidth = parameters_.iPicWidth;
  layer.iVideoHeight = parameters_.iPicHeight;
  layer.fFrameRate = parameters_.fMaxFrameRate;
  layer.iSpatialBitrate = parameters_.iTargetBitrate;
  layer.iMaxSpatialBitrate = parameters_.iMaxBitrate;
  layer.uiProfileIdc = PRO_BASELINE;
  layer.uiLevelIdc = LEVEL_UNKNOWN;
  layer.iDLayerQp = QuantizerControl::kCoarsest;
  const bool whole = packetization_ == webrtc::H264PacketizationMode::NonInterleaved;
  const int threads = whole ? threadsFor(pixels, settings.number_of_cores) : 1;
  parameters_.iMultipleThreadIdc = static_cast<unsigned short>(threads);
  layer.sSliceArgument.uiSliceMode = whole ? SM_FIXEDSLCNUM_SLICE : SM_SIZELIMITED_SLICE;
  layer.sSliceArgument.uiSliceNum = static_cast<unsigned>(threads);
  if (!whole) layer.sSliceArgument.uiSliceSizeConstraint = static_cast<unsigned>(settings.max_payload_size);
  if (!open()) {
    Release();
    return WEBRTC_VIDEO_CODEC_ERROR;
  }

  parser_ = std::make_unique<webrtc::H264BitstreamParser>();
  dependencies_ = webrtc::CreateScalabilityStructure(webrtc::ScalabilityMode::kL1T1);
  control_.emplace(blocksIn(codec->width) * blocksIn(codec->height));
  link_.emplace(pixels);
  changes_ = {};
  changedShare_ = 0;
  bitsPerSecond_ = parameters_.iTargetBitrate;
  if (bitsPerSecond_ > 0) control_->setRates(bitsPerSecond_, codec->maxFramerate);
  return WEBRTC_VIDEO_CODEC_OK;
}

// The next frame is a key frame.
bool OpenH264Encoder::open() {
  output_ = {};  // The bytes end with the encoder that made them.
  // Standard error belongs to the program's own log.
  int level = WELS_LOG_QUIET;
  encoder_->SetOption(ENCODER_OPTION_TRACE_LEVEL, &level);
  if (encoder_->InitializeExt(&parameters_) != 0) return false;
  int format = videoFormatI420;
  encoder_->SetOption(ENCODER_OPTION_DATAFORMAT, &format);
  keyFramePending_ = true;
  return true;
}

// Motion search in the encoder's screen content mode finds text that has moved by hundreds of lines, in camera mode by
// a dozen. But screen content mode takes 11 ms more for every frame of 1920 x 1080, even for one typed character, so it
// is used on slow links only. False: the encoder cannot be used any more.
bool OpenH264Encoder::chooseSearch() {
  const EUsageType wanted = link_->isSlow() ? SCREEN_CONTENT_REAL_TIME : usage_;
  if (wanted == parameters_.iUsageType || keepsUsage_) return true;
  const EUsageType before = std::exchange(parameters_.iUsageType, wanted);
  encoder_->Uninitialize();
  if (open()) return true;
  // Without an encoder there would be no video until the library opens one for other settings.
  keepsUsage_ = true;
  parameters_.iUsageType = before;
  return open();
}

int32_t OpenH264Encoder::RegisterEncodeCompleteCallback(webrtc::EncodedImageCallback* callback) {
  callback_ = callback;
  return WEBRTC_VIDEO_CODEC_OK;
}

int32_t OpenH264Encoder::Release() {
  encoder_.reset();
  output_ = {};
  return WEBRTC_VIDEO_CODEC_OK;
}

void OpenH264Encoder::SetRates(const RateControlParameters& parameters) {
  if (!encoder_ || parameters.framerate_fps < 1) return;
  const double bitsPerSecond = parameters.bitrate.get_sum_bps();
  if (bitsPerSecond > 0 && bitsPerSecond_ <= 0) keyFramePending_ = true;
  bitsPerSecond_ = bitsPerSecond;
  if (bitsPerSecond_ > 0) control_->setRates(bitsPerSecond_, parameters.framerate_fps);
}

int32_t OpenH264Encoder::Encode(const webrtc::VideoFrame& frame, const std::vector<webrtc::VideoFrameType>* types) {
  if (!encoder_ || !callback_) return WEBRTC_VIDEO_CODEC_UNINITIALIZED;
  const auto buffer = frame.video_frame_buffer()->ToI420();
  if (!buffer || buffer->width() != parameters_.iPicWidth || buffer->height() != parameters_.iPicHeight) {
    changes_ = {};  // The next frame's update rectangle will be relative to this frame.
    return WEBRTC_VIDEO_CODEC_ERR_PARAMETER;
  }
  // Changes in dropped frames still have to be shown.
  changedShare_ = std::min(1.0, changedShare_ + changes_.changedShare(frame, *buffer));
  if (types && std::ranges::find(*types, webrtc::VideoFrameType::kVideoFrameKey) != types->end())
    keyFramePending_ = true;
  if (bitsPerSecond_ <= 0) return WEBRTC_VIDEO_CODEC_OK;

  const QuantizerControl::Time now = clock_();
  link_->update(bitsPerSecond_, now);
  if ((keyFramePending_ || changedShare_ >= kLargeChange) && !chooseSearch()) {
    Release();
    return WEBRTC_VIDEO_CODEC_ERROR;
  }
  std::optional<int> quantizer = plan(now);
  if (!quantizer) return WEBRTC_VIDEO_CODEC_OK;
  if (!encodeWith(*quantizer, frame, *buffer)) return WEBRTC_VIDEO_CODEC_ERROR;
  if (const auto better =
          control_->retryQuantizer(*quantizer, changedShare_, outputIsKey(), static_cast<double>(outputBytes()) * 8)) {
    // The frame just encoded is discarded; only a key frame does not depend on it.
    quantizer = better;
    keyFramePending_ = true;
    if (!encodeWith(*quantizer, frame, *buffer)) return WEBRTC_VIDEO_CODEC_ERROR;
  }
  // OpenH264 skipped the frame: what it was to show, or to begin with, is left to the next one.
  if (outputBytes() == 0) return WEBRTC_VIDEO_CODEC_OK;
  control_->encoded(*quantizer, changedShare_, outputIsKey(), static_cast<double>(outputBytes()) * 8);
  lastEncoded_ = now;
  changedShare_ = 0;
  keyFramePending_ = false;
  deliver(frame);
  return WEBRTC_VIDEO_CODEC_OK;
}

// The quantizer of the next frame; empty if it is to be dropped.
std::optional<int> OpenH264Encoder::plan(QuantizerControl::Time now) {
  const bool tooSoon =
      searchesFar() && changedShare_ > kSomeChange && now - lastEncoded_ < kSlowLinkInterval && !keyFramePending_;
  return tooSoon ? std::nullopt : control_->plan(changedShare_, keyFramePending_, now);
}

bool OpenH264Encoder::encodeWith(int quantizer, const webrtc::VideoFrame& frame,
                                 const webrtc::I420BufferInterface& buffer) {
  int& current = parameters_.sSpatialLayers[0].iDLayerQp;
  if (const int before = std::exchange(current, quantizer); before != quantizer) {
    if (encoder_->SetOption(ENCODER_OPTION_SVC_ENCODE_PARAM_EXT, &parameters_) != 0) {
      current = before;  // Or it would not be set for the next frame either.
      return false;
    }
  }
  if (keyFramePending_) encoder_->ForceIntraFrame(true);
  SSourcePicture source{};
  source.iColorFormat = videoFormatI420;
  source.iPicWidth = buffer.width();
  source.iPicHeight = buffer.height();
  source.uiTimeStamp = frame.timestamp_us() / 1000;
  // OpenH264 only reads from the planes.
  source.pData[0] = const_cast<uint8_t*>(buffer.DataY());
  source.pData[1] = const_cast<uint8_t*>(buffer.DataU());
  source.pData[2] = const_cast<uint8_t*>(buffer.DataV());
  source.iStride[0] = buffer.StrideY();
  source.iStride[1] = buffer.StrideU();
  source.iStride[2] = buffer.StrideV();
  output_ = {};
  return encoder_->EncodeFrame(&source, &output_) == 0;
}

size_t OpenH264Encoder::outputBytes() const {
  size_t bytes = 0;
  for (int i = 0; i < output_.iLayerNum; ++i) {
    const SLayerBSInfo& layer = output_.sLayerInfo[i];
    for (int unit = 0; unit < layer.iNalCount; ++unit) bytes += static_cast<size_t>(layer.pNalLengthInByte[unit]);
  }
  return bytes;
}

void OpenH264Encoder::deliver(const webrtc::VideoFrame& frame) {
  const size_t size = outputBytes();
  // The units already begin with start codes.
  const auto data = webrtc::EncodedImageBuffer::Create(size);
  uint8_t* end = data->data();
  for (int i = 0; i < output_.iLayerNum; ++i) {
    const SLayerBSInfo& layer = output_.sLayerInfo[i];
    size_t bytes = 0;
    for (int unit = 0; unit < layer.iNalCount; ++unit) bytes += static_cast<size_t>(layer.pNalLengthInByte[unit]);
    std::memcpy(end, layer.pBsBuf, bytes);
    end += bytes;
  }
  webrtc::EncodedImage encoded;
  encoded.SetEncodedData(data);
  encoded._encodedWidth = static_cast<uint32_t>(parameters_.iPicWidth);
  encoded._encodedHeight = static_cast<uint32_t>(parameters_.iPicHeight);
  encoded._frameType =
      outputIsKey() ? webrtc::VideoFrameType::kVideoFrameKey : webrtc::VideoFrameType::kVideoFrameDelta;
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
  info.codecSpecific.H264.idr_frame = outputIsKey();
  info.generic_frame_info = dependencies_->OnEncodeDone(dependencies_->NextFrameConfig(outputIsKey()).front());
  if (outputIsKey()) info.template_structure = dependencies_->DependencyStructure();
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
