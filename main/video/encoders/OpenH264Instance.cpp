#include "main/video/encoders/OpenH264Instance.h"

#include <api/video/video_frame_buffer.h>
#include <api/video_codecs/video_codec.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "main/video/encoders/QuantizerControl.h"

namespace vantora {
namespace {

// Number of threads for a frame of `pixels`; each encodes one slice. Every slice costs a little quality, and the
// machine has other work: at most half of many cores.
int threadsFor(int pixels, int cores) {
  constexpr int kPixelsOfThread = 1280 * 720 / 2;
  constexpr int kMaxThreads = 4;
  cores = std::max(cores, 1);
  return std::clamp(pixels / kPixelsOfThread, 1, std::min(kMaxThreads, std::max(std::min(cores, 2), cores / 2)));
}

size_t bytesOf(const SLayerBSInfo& layer) {
  size_t bytes = 0;
  for (int unit = 0; unit < layer.iNalCount; ++unit) bytes += static_cast<size_t>(layer.pNalLengthInByte[unit]);
  return bytes;
}

}  // namespace

void OpenH264Instance::Destroy::operator()(ISVCEncoder* encoder) const {
  encoder->Uninitialize();
  WelsDestroySVCEncoder(encoder);
}

std::unique_ptr<OpenH264Instance> OpenH264Instance::open(const webrtc::VideoCodec& codec,
                                                         const webrtc::VideoEncoder::Settings& settings,
                                                         bool wholeFrames) {
  ISVCEncoder* made = nullptr;
  if (WelsCreateSVCEncoder(&made) != 0 || !made) return nullptr;
  std::unique_ptr<OpenH264Instance> instance(new OpenH264Instance);
  instance->encoder_.reset(made);
  instance->setParameters(codec, settings, wholeFrames);
  return instance->initialize() ? std::move(instance) : nullptr;
}

void OpenH264Instance::setParameters(const webrtc::VideoCodec& codec, const webrtc::VideoEncoder::Settings& settings,
                                     bool wholeFrames) {
  encoder_->GetDefaultParams(&parameters_);
  parameters_.iUsageType = CAMERA_VIDEO_REAL_TIME;
  parameters_.iPicWidth = codec.width;
  parameters_.iPicHeight = codec.height;
  parameters_.fMaxFrameRate = static_cast<float>(codec.maxFramerate);
  const unsigned startKbps = codec.maxBitrate > 0 ? std::min(codec.startBitrate, codec.maxBitrate) : codec.startBitrate;
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
  parameters_.uiIntraPeriod = static_cast<unsigned>(std::max(codec.H264().keyFrameInterval, 0));
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
  const int threads = wholeFrames ? threadsFor(codec.width * codec.height, settings.number_of_cores) : 1;
  parameters_.iMultipleThreadIdc = static_cast<unsigned short>(threads);
  layer.sSliceArgument.uiSliceMode = wholeFrames ? SM_FIXEDSLCNUM_SLICE : SM_SIZELIMITED_SLICE;
  layer.sSliceArgument.uiSliceNum = static_cast<unsigned>(threads);
  if (!wholeFrames) layer.sSliceArgument.uiSliceSizeConstraint = static_cast<unsigned>(settings.max_payload_size);
  // Detected background and content that the adaptive quantizer takes for unimportant would never become sharp.
  parameters_.bEnableBackgroundDetection = false;
  parameters_.bEnableAdaptiveQuant = false;
}

bool OpenH264Instance::initialize() {
  output_ = {};  // The bytes end with the encoder that made them.
  // Standard error belongs to the program's own log.
  int level = WELS_LOG_QUIET;
  encoder_->SetOption(ENCODER_OPTION_TRACE_LEVEL, &level);
  if (encoder_->InitializeExt(&parameters_) != 0) return false;
  int format = videoFormatI420;
  encoder_->SetOption(ENCODER_OPTION_DATAFORMAT, &format);
  return true;
}

bool OpenH264Instance::reopen() {
  encoder_->Uninitialize();
  return initialize();
}

bool OpenH264Instance::switchSearch() {
  const EUsageType before =
      std::exchange(parameters_.iUsageType, searchesFar() ? CAMERA_VIDEO_REAL_TIME : SCREEN_CONTENT_REAL_TIME);
  if (reopen()) return true;
  // Without an encoder there would be no video until the library opens one for other settings.
  keepsSearch_ = true;
  parameters_.iUsageType = before;
  return initialize();
}

bool OpenH264Instance::encode(const webrtc::I420BufferInterface& picture, int64_t timestampMs, int quantizer,
                              bool key) {
  int& current = parameters_.sSpatialLayers[0].iDLayerQp;
  if (const int before = std::exchange(current, quantizer); before != quantizer) {
    if (encoder_->SetOption(ENCODER_OPTION_SVC_ENCODE_PARAM_EXT, &parameters_) != 0) {
      current = before;  // Or it would not be set for the next frame either.
      return false;
    }
  }
  if (key) encoder_->ForceIntraFrame(true);
  SSourcePicture source{};
  source.iColorFormat = videoFormatI420;
  source.iPicWidth = picture.width();
  source.iPicHeight = picture.height();
  source.uiTimeStamp = timestampMs;
  // OpenH264 only reads from the planes.
  source.pData[0] = const_cast<uint8_t*>(picture.DataY());
  source.pData[1] = const_cast<uint8_t*>(picture.DataU());
  source.pData[2] = const_cast<uint8_t*>(picture.DataV());
  source.iStride[0] = picture.StrideY();
  source.iStride[1] = picture.StrideU();
  source.iStride[2] = picture.StrideV();
  output_ = {};
  return encoder_->EncodeFrame(&source, &output_) == 0;
}

size_t OpenH264Instance::outputBytes() const {
  size_t bytes = 0;
  for (int i = 0; i < output_.iLayerNum; ++i) bytes += bytesOf(output_.sLayerInfo[i]);
  return bytes;
}

rtc::scoped_refptr<webrtc::EncodedImageBuffer> OpenH264Instance::output() const {
  // The units already begin with start codes.
  auto data = webrtc::EncodedImageBuffer::Create(outputBytes());
  uint8_t* end = data->data();
  for (int i = 0; i < output_.iLayerNum; ++i) {
    const size_t bytes = bytesOf(output_.sLayerInfo[i]);
    std::memcpy(end, output_.sLayerInfo[i].pBsBuf, bytes);
    end += bytes;
  }
  return data;
}

}  // namespace vantora
