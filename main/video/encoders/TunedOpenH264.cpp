// The H.264 encoder inside the WebRTC library with settings that suit screens. The library chooses
// them in its own code and offers no way to change them; the linker leads its calls that make and
// destroy the encoder through here (see CMakeLists.txt).
#include <third_party/openh264/src/codec/api/svc/codec_api.h>

#include <memory>

extern "C" int __real_WelsCreateSVCEncoder(ISVCEncoder** encoder);
extern "C" void __real_WelsDestroySVCEncoder(ISVCEncoder* encoder);
extern "C" int __wrap_WelsCreateSVCEncoder(ISVCEncoder** encoder);
extern "C" void __wrap_WelsDestroySVCEncoder(ISVCEncoder* encoder);

namespace {

// The encoder's own range would end at 42 (cameras) or 35 (screens): too fine for a thin link, where
// it then drops frame after frame.
constexpr int kFinestQp = 12;
constexpr int kCoarsestQp = 51;
// Pictures from this size on are worth a second thread, each with a slice of its own.
constexpr int kThreadedPixels = 1280 * 720;
constexpr unsigned short kThreads = 2;

// Passes everything on; only the initial parameters are changed. Owned by the library's encoder.
class TunedEncoder final : public ISVCEncoder {
 public:
  explicit TunedEncoder(ISVCEncoder* real) : real_(real) {}
  ISVCEncoder* real() const { return real_; }

  int EXTAPI Initialize(const SEncParamBase* parameters) override { return real_->Initialize(parameters); }
  int EXTAPI InitializeExt(const SEncParamExt* parameters) override {
    if (!parameters) return real_->InitializeExt(parameters);
    SEncParamExt tuned = *parameters;
    tuned.iMinQp = kFinestQp;
    tuned.iMaxQp = kCoarsestQp;
    SSliceArgument& slices = tuned.sSpatialLayers[0].sSliceArgument;
    if (tuned.iPicWidth * tuned.iPicHeight >= kThreadedPixels && slices.uiSliceMode == SM_FIXEDSLCNUM_SLICE &&
        tuned.iSpatialLayerNum == 1) {
      tuned.iMultipleThreadIdc = kThreads;
      slices.uiSliceNum = kThreads;
    }
    return real_->InitializeExt(&tuned);
  }
  int EXTAPI GetDefaultParams(SEncParamExt* parameters) override { return real_->GetDefaultParams(parameters); }
  int EXTAPI Uninitialize() override { return real_->Uninitialize(); }
  int EXTAPI EncodeFrame(const SSourcePicture* picture, SFrameBSInfo* info) override {
    return real_->EncodeFrame(picture, info);
  }
  int EXTAPI EncodeParameterSets(SFrameBSInfo* info) override { return real_->EncodeParameterSets(info); }
  int EXTAPI ForceIntraFrame(bool idr, int layer) override { return real_->ForceIntraFrame(idr, layer); }
  int EXTAPI SetOption(ENCODER_OPTION option, void* value) override { return real_->SetOption(option, value); }
  int EXTAPI GetOption(ENCODER_OPTION option, void* value) override { return real_->GetOption(option, value); }

 private:
  ISVCEncoder* const real_;
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
