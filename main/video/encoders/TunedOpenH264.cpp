// The H.264 encoder inside the WebRTC library with settings that suit screens. The library chooses
// them in its own code and offers no way to change them; the linker leads its calls that make and
// destroy the encoder through here (see CMakeLists.txt).
#include <third_party/openh264/src/codec/api/svc/codec_api.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <thread>

#include "main/video/encoders/ChangedBlocks.h"
#include "main/video/encoders/QuantizerControl.h"
#include "main/video/encoders/ThinLink.h"

extern "C" int __real_WelsCreateSVCEncoder(ISVCEncoder** encoder);
extern "C" void __real_WelsDestroySVCEncoder(ISVCEncoder* encoder);
extern "C" int __wrap_WelsCreateSVCEncoder(ISVCEncoder** encoder);
extern "C" void __wrap_WelsDestroySVCEncoder(ISVCEncoder* encoder);

namespace {

// Threads for a picture of so many pixels, each with a slice of its own. Every slice costs a little quality, and the
// machine has other things to do: no more than half of many cores.
unsigned short threadsFor(int pixels) {
  constexpr int kPixelsOfThread = 1280 * 720 / 2;
  constexpr int kMost = 4;
  const int cores = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
  return static_cast<unsigned short>(
      std::clamp(pixels / kPixelsOfThread, 1, std::min(kMost, std::max(std::min(cores, 2), cores / 2))));
}

constexpr int kBlock = 16;

// Pictures that change so much, in parts of the whole, cost as much as a key picture when nothing in them is found
// again.
constexpr double kLargeChange = 0.3;
// On a thin link pictures that change by more than kSomeChange come at most so often: text that scrolls is readable at
// half the pictures and twice the bits for each.
constexpr double kSomeChange = 0.1;
constexpr std::chrono::milliseconds kThinInterval{30};

double bitsOf(const SFrameBSInfo& info) {
  double bytes = 0;
  for (int layer = 0; layer < info.iLayerNum; ++layer) {
    const SLayerBSInfo& each = info.sLayerInfo[layer];
    for (int unit = 0; unit < each.iNalCount; ++unit) bytes += each.pNalLengthInByte[unit];
  }
  return bytes * 8;
}

// Takes the rate control over: the encoder's own one lets the first picture of a page of text grow to seconds of the
// link's time and then shows nothing until that is through. Everything else is passed on. Owned by the library's
// encoder, which calls it on one thread at a time.
class TunedEncoder final : public ISVCEncoder {
 public:
  explicit TunedEncoder(ISVCEncoder* real) : real_(real) {}
  ISVCEncoder* real() const { return real_; }

  int EXTAPI Initialize(const SEncParamBase* parameters) override { return real_->Initialize(parameters); }
  int EXTAPI InitializeExt(const SEncParamExt* parameters) override {
    if (!parameters || parameters->iSpatialLayerNum != 1) return real_->InitializeExt(parameters);
    parameters_ = *parameters;
    SSpatialLayerConfig& layer = parameters_.sSpatialLayers[0];
    const int pixels = parameters_.iPicWidth * parameters_.iPicHeight;
    if (layer.sSliceArgument.uiSliceMode == SM_FIXEDSLCNUM_SLICE) {
      const unsigned short threads = threadsFor(pixels);
      parameters_.iMultipleThreadIdc = threads;
      layer.sSliceArgument.uiSliceNum = threads;
    }
    asked_ = parameters_.iUsageType;
    parameters_.iRCMode = RC_OFF_MODE;
    parameters_.bEnableFrameSkip = false;
    // A cut is a change like any other: as a key picture it would only be larger. (With its tools for screens the
    // encoder insists on this; then a page that is new as a whole is a key picture.)
    parameters_.bEnableSceneChangeDetect = false;
    parameters_.iMinQp = vantora::QuantizerControl::kFinest;
    parameters_.iMaxQp = vantora::QuantizerControl::kCoarsest;
    layer.iDLayerQp = vantora::QuantizerControl::kCoarsest;
    const int result = real_->InitializeExt(&parameters_);
    if (result != 0) return result;
    control_.emplace((parameters_.iPicWidth + kBlock - 1) / kBlock * ((parameters_.iPicHeight + kBlock - 1) / kBlock));
    bitsPerSecond_ = parameters_.iTargetBitrate;
    picturesPerSecond_ = parameters_.fMaxFrameRate;
    control_->setRates(bitsPerSecond_, picturesPerSecond_);
    link_.emplace(pixels);
    changes_ = {};
    key_ = true;
    return result;
  }
  int EXTAPI GetDefaultParams(SEncParamExt* parameters) override { return real_->GetDefaultParams(parameters); }
  int EXTAPI Uninitialize() override {
    control_.reset();
    return real_->Uninitialize();
  }
  int EXTAPI EncodeFrame(const SSourcePicture* picture, SFrameBSInfo* info) override {
    if (!control_ || !picture || !info) return real_->EncodeFrame(picture, info);
    // What was left out is still to be shown.
    waiting_ = std::min(1.0, waiting_ + changes_.compare(picture->pData[0], picture->iStride[0], picture->iPicWidth,
                                                         picture->iPicHeight));
    const QuantizerControl::Time now = std::chrono::steady_clock::now().time_since_epoch();
    link_->update(bitsPerSecond_, now);
    if (key_ || waiting_ >= kLargeChange) {
      if (const int result = chooseSearch(); result != 0) return result;
    }
    const bool tooSoon = searchesFar() && waiting_ > kSomeChange && now - coded_ < kThinInterval && !key_;
    const auto planned = tooSoon ? std::nullopt : control_->plan(waiting_, key_, now);
    if (!planned) {
      info->eFrameType = videoFrameTypeSkip;
      info->iLayerNum = 0;
      return 0;
    }
    int quantizer = *planned;
    int result = encode(quantizer, picture, info);
    if (result != 0) return result;
    bool key = info->eFrameType == videoFrameTypeIDR;
    if (const auto better = control_->better(quantizer, waiting_, key, bitsOf(*info))) {
      // What was just made is thrown away; only a key picture needs nothing of it.
      quantizer = *better;
      key = true;
      real_->ForceIntraFrame(true, -1);
      result = encode(quantizer, picture, info);
      if (result != 0) return result;
    }
    control_->taken(quantizer, waiting_, key, bitsOf(*info));
    coded_ = now;
    waiting_ = 0;
    key_ = false;
    return result;
  }
  int EXTAPI EncodeParameterSets(SFrameBSInfo* info) override { return real_->EncodeParameterSets(info); }
  int EXTAPI ForceIntraFrame(bool idr, int layer) override {
    if (idr) key_ = true;
    return real_->ForceIntraFrame(idr, layer);
  }
  int EXTAPI SetOption(ENCODER_OPTION option, void* value) override {
    if (control_ && value && option == ENCODER_OPTION_BITRATE) {
      bitsPerSecond_ = static_cast<const SBitrateInfo*>(value)->iBitrate;
    } else if (control_ && value && option == ENCODER_OPTION_FRAME_RATE) {
      picturesPerSecond_ = *static_cast<const float*>(value);
    } else {
      if (value && option == ENCODER_OPTION_DATAFORMAT) format_ = *static_cast<const int*>(value);
      return real_->SetOption(option, value);
    }
    control_->setRates(bitsPerSecond_, picturesPerSecond_);
    return 0;
  }
  int EXTAPI GetOption(ENCODER_OPTION option, void* value) override { return real_->GetOption(option, value); }

 private:
  using QuantizerControl = vantora::QuantizerControl;

  bool searchesFar() const { return parameters_.iUsageType == SCREEN_CONTENT_REAL_TIME; }

  // The encoder's mode for screens finds text again that has moved by hundreds of lines, where the one for cameras
  // finds a dozen, but takes 11 ms more for every picture of 1920 x 1080, even for one key pressed. So it is for thin
  // links. What it is opened with anew begins with a key picture.
  int chooseSearch() {
    const EUsageType wanted = link_->isThin() ? SCREEN_CONTENT_REAL_TIME : asked_;
    if (wanted == parameters_.iUsageType) return 0;
    parameters_.iUsageType = wanted;
    real_->Uninitialize();
    if (const int result = real_->InitializeExt(&parameters_); result != 0) return result;
    int level = WELS_LOG_QUIET;
    real_->SetOption(ENCODER_OPTION_TRACE_LEVEL, &level);
    real_->SetOption(ENCODER_OPTION_DATAFORMAT, &format_);
    key_ = true;
    return 0;
  }

  int encode(int quantizer, const SSourcePicture* picture, SFrameBSInfo* info) {
    int& current = parameters_.sSpatialLayers[0].iDLayerQp;
    if (current != quantizer) {
      current = quantizer;
      const int result = real_->SetOption(ENCODER_OPTION_SVC_ENCODE_PARAM_EXT, &parameters_);
      if (result != 0) return result;
    }
    return real_->EncodeFrame(picture, info);
  }

  ISVCEncoder* const real_;
  SEncParamExt parameters_{};
  EUsageType asked_ = CAMERA_VIDEO_REAL_TIME;
  int format_ = videoFormatI420;
  double bitsPerSecond_ = 0;
  double picturesPerSecond_ = 0;
  // Empty until the encoder was set up with one layer.
  std::optional<QuantizerControl> control_;
  std::optional<vantora::ThinLink> link_;
  vantora::ChangedBlocks changes_;
  // Share of the picture that changed since the last one that was coded.
  double waiting_ = 0;
  // When the last picture was coded.
  QuantizerControl::Time coded_{};
  // The next picture is a key picture.
  bool key_ = true;
};

}  // namespace

extern "C" int __wrap_WelsCreateSVCEncoder(ISVCEncoder** encoder) {
  ISVCEncoder* real = nullptr;
  const int result = __real_WelsCreateSVCEncoder(&real);
  if (result != 0 || !real) return result;
  // Standard error belongs to the program's own log.
  int level = WELS_LOG_QUIET;
  real->SetOption(ENCODER_OPTION_TRACE_LEVEL, &level);
  *encoder = new TunedEncoder(real);  // Freed below, where the library destroys it.
  return result;
}

extern "C" void __wrap_WelsDestroySVCEncoder(ISVCEncoder* encoder) {
  if (!encoder) return;
  const std::unique_ptr<TunedEncoder> tuned(static_cast<TunedEncoder*>(encoder));
  __real_WelsDestroySVCEncoder(tuned->real());
}
