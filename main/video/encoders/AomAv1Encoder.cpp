#include "main/video/encoders/AomAv1Encoder.h"

#include <aom/aomcx.h>
#include <api/video/i420_buffer.h>
#include <modules/video_coding/include/video_codec_interface.h>
#include <modules/video_coding/include/video_error_codes.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace vantora {
namespace {

// Fastest setting for real time; on text the slower ones cost more time than their quality is worth.
constexpr int kSpeed = 10;
// One tile split (two columns) once a frame is wide enough to keep two threads busy.
constexpr unsigned kTiledWidth = 1280;
constexpr int kMaxThreads = 4;

constexpr unsigned kMinQuantizer = 2;
constexpr unsigned kMaxQuantizer = 63;
// Buffer of the rate control in milliseconds: short, because while a key frame is being sent for a second, the viewer
// sees no change.
constexpr unsigned kBufferMs = 1000;
constexpr unsigned kBufferInitialMs = 600;
constexpr unsigned kBufferOptimalMs = 600;
constexpr unsigned kUndershootPct = 50;
constexpr unsigned kOvershootPct = 50;
// A key frame may take this many times an average frame, in percent.
constexpr unsigned kMaxIntraPct = 300;
// The clock of the timestamps given to libaom.
constexpr int kTicksPerSecond = 90'000;

struct Control {
  int id;
  int value;
};

// Tools that cost time and give little on screens in real time are off.
constexpr Control kControls[] = {
    {AOME_SET_CPUUSED, kSpeed},
    {AV1E_SET_TUNE_CONTENT, AOM_CONTENT_SCREEN},
    {AV1E_SET_ENABLE_PALETTE, 1},
    {AV1E_SET_ENABLE_INTRABC, 0},
    {AV1E_SET_ROW_MT, 1},
    {AV1E_SET_ENABLE_CDEF, 1},
    {AV1E_SET_ENABLE_TPL_MODEL, 0},
    {AV1E_SET_DELTAQ_MODE, 0},
    {AV1E_SET_ENABLE_ORDER_HINT, 0},
    {AV1E_SET_AQ_MODE, 0},
    {AV1E_SET_CDF_UPDATE_MODE, 1},
    {AV1E_SET_ENABLE_OBMC, 0},
    {AV1E_SET_ENABLE_GLOBAL_MOTION, 0},
    {AV1E_SET_ENABLE_WARPED_MOTION, 0},
    {AV1E_SET_ENABLE_REF_FRAME_MVS, 0},
    {AV1E_SET_ENABLE_RESTORATION, 0},
    {AV1E_SET_ENABLE_CFL_INTRA, 0},
    {AV1E_SET_ENABLE_SMOOTH_INTRA, 0},
    {AV1E_SET_ENABLE_ANGLE_DELTA, 0},
    {AV1E_SET_ENABLE_FILTER_INTRA, 0},
    {AV1E_SET_INTRA_DEFAULT_TX_ONLY, 1},
    {AV1E_SET_COEFF_COST_UPD_FREQ, 3},
    {AV1E_SET_MODE_COST_UPD_FREQ, 3},
    {AV1E_SET_MV_COST_UPD_FREQ, 3},
    {AV1E_SET_MAX_REFERENCE_FRAMES, 3},
    {AV1E_SET_DISABLE_TRELLIS_QUANT, 1},
    {AV1E_SET_ENABLE_DIST_WTD_COMP, 0},
    {AV1E_SET_ENABLE_DIFF_WTD_COMP, 0},
    {AV1E_SET_ENABLE_DUAL_FILTER, 0},
    {AV1E_SET_ENABLE_INTERINTRA_COMP, 0},
    {AV1E_SET_ENABLE_INTERINTRA_WEDGE, 0},
    {AV1E_SET_ENABLE_INTRA_EDGE_FILTER, 0},
    {AV1E_SET_ENABLE_MASKED_COMP, 0},
    {AV1E_SET_ENABLE_PAETH_INTRA, 0},
    {AV1E_SET_ENABLE_QM, 0},
    {AV1E_SET_ENABLE_RECT_PARTITIONS, 0},
    {AV1E_SET_ENABLE_SMOOTH_INTERINTRA, 0},
    {AV1E_SET_ENABLE_TX64, 0},
};

}  // namespace

AomAv1Encoder::AomAv1Encoder(std::shared_ptr<const FrameControl> control) : control_(std::move(control)) {}

AomAv1Encoder::~AomAv1Encoder() { Release(); }

int AomAv1Encoder::InitEncode(const webrtc::VideoCodec* codec, const Settings& settings) {
  Release();
  if (!codec || codec->width < 1 || codec->height < 1 || codec->maxFramerate < 1) {
    return WEBRTC_VIDEO_CODEC_ERR_PARAMETER;
  }
  if (aom_codec_enc_config_default(aom_codec_av1_cx(), &config_, AOM_USAGE_REALTIME) != AOM_CODEC_OK) {
    return WEBRTC_VIDEO_CODEC_ERROR;
  }
  const int threads = std::clamp(settings.number_of_cores, 1, kMaxThreads);
  config_.g_w = codec->width;
  config_.g_h = codec->height;
  config_.g_threads = static_cast<unsigned>(threads);
  config_.g_timebase = {1, kTicksPerSecond};
  config_.g_input_bit_depth = 8;
  config_.g_lag_in_frames = 0;
  config_.g_error_resilient = 0;
  config_.g_pass = AOM_RC_ONE_PASS;
  config_.kf_mode = AOM_KF_DISABLED;  // Key frames come on request only.
  config_.rc_end_usage = AOM_CBR;
  config_.rc_target_bitrate = std::max(codec->startBitrate, 1U);
  config_.rc_min_quantizer = kMinQuantizer;
  config_.rc_max_quantizer = kMaxQuantizer;
  config_.rc_undershoot_pct = kUndershootPct;
  config_.rc_overshoot_pct = kOvershootPct;
  config_.rc_buf_sz = kBufferMs;
  config_.rc_buf_initial_sz = kBufferInitialMs;
  config_.rc_buf_optimal_sz = kBufferOptimalMs;
  config_.rc_dropframe_thresh = 0;
  config_.rc_resize_mode = 0;
  framerate_ = codec->maxFramerate;
  nextPts_ = 0;
  if (aom_codec_enc_init(&context_, aom_codec_av1_cx(), &config_, 0) != AOM_CODEC_OK) {
    return WEBRTC_VIDEO_CODEC_ERROR;
  }
  open_ = true;
  if (!applyControls(threads)) {
    Release();
    return WEBRTC_VIDEO_CODEC_ERROR;
  }
  return WEBRTC_VIDEO_CODEC_OK;
}

bool AomAv1Encoder::applyControls(int threads) {
  for (const Control& control : kControls) {
    if (aom_codec_control(&context_, control.id, control.value) != AOM_CODEC_OK) return false;
  }
  const int tileColumnsLog2 = threads > 1 && config_.g_w >= kTiledWidth ? 1 : 0;
  return aom_codec_control(&context_, AV1E_SET_TILE_COLUMNS, tileColumnsLog2) == AOM_CODEC_OK &&
         aom_codec_control(&context_, AOME_SET_MAX_INTRA_BITRATE_PCT, kMaxIntraPct) == AOM_CODEC_OK;
}

int32_t AomAv1Encoder::RegisterEncodeCompleteCallback(webrtc::EncodedImageCallback* callback) {
  callback_ = callback;
  return WEBRTC_VIDEO_CODEC_OK;
}

int32_t AomAv1Encoder::Release() {
  if (open_) aom_codec_destroy(&context_);
  open_ = false;
  return WEBRTC_VIDEO_CODEC_OK;
}

void AomAv1Encoder::SetRates(const RateControlParameters& parameters) {
  if (!open_) return;
  const uint32_t kbps = parameters.bitrate.get_sum_kbps();
  if (parameters.framerate_fps >= 1) framerate_ = parameters.framerate_fps;
  if (kbps == 0 || kbps == config_.rc_target_bitrate) return;
  config_.rc_target_bitrate = kbps;
  aom_codec_enc_config_set(&context_, &config_);
}

int32_t AomAv1Encoder::Encode(const webrtc::VideoFrame& frame, const std::vector<webrtc::VideoFrameType>* types) {
  if (!open_ || !callback_) return WEBRTC_VIDEO_CODEC_UNINITIALIZED;
  const auto buffer = frame.video_frame_buffer()->ToI420();
  if (!buffer || buffer->width() != static_cast<int>(config_.g_w) ||
      buffer->height() != static_cast<int>(config_.g_h)) {
    return WEBRTC_VIDEO_CODEC_ERR_PARAMETER;
  }
  const bool key =
      types && std::find(types->begin(), types->end(), webrtc::VideoFrameType::kVideoFrameKey) != types->end();
  if (!applyQuantizer()) return WEBRTC_VIDEO_CODEC_ENCODER_FAILURE;
  const webrtc::I420BufferInterface& shown = *withKeptRows(*buffer, key);
  aom_image_t image{};
  // libaom only reads from the planes.
  if (!aom_img_wrap(&image, AOM_IMG_FMT_I420, config_.g_w, config_.g_h, 1, const_cast<uint8_t*>(shown.DataY()))) {
    return WEBRTC_VIDEO_CODEC_ENCODER_FAILURE;
  }
  image.planes[AOM_PLANE_Y] = const_cast<uint8_t*>(shown.DataY());
  image.planes[AOM_PLANE_U] = const_cast<uint8_t*>(shown.DataU());
  image.planes[AOM_PLANE_V] = const_cast<uint8_t*>(shown.DataV());
  image.stride[AOM_PLANE_Y] = shown.StrideY();
  image.stride[AOM_PLANE_U] = shown.StrideU();
  image.stride[AOM_PLANE_V] = shown.StrideV();

  const auto duration = static_cast<unsigned long>(std::lround(kTicksPerSecond / framerate_));
  const aom_codec_err_t result = aom_codec_encode(&context_, &image, nextPts_, duration, key ? AOM_EFLAG_FORCE_KF : 0);
  nextPts_ += static_cast<aom_codec_pts_t>(duration);
  if (result != AOM_CODEC_OK) return WEBRTC_VIDEO_CODEC_ENCODER_FAILURE;
  return deliver(frame);
}

bool AomAv1Encoder::applyQuantizer() {
  if (control_->quantizer < 0) return true;
  const auto quantizer = static_cast<unsigned>(control_->quantizer);
  if (config_.rc_min_quantizer == quantizer && config_.rc_max_quantizer == quantizer) return true;
  config_.rc_min_quantizer = config_.rc_max_quantizer = quantizer;
  return aom_codec_enc_config_set(&context_, &config_) == AOM_CODEC_OK;
}

// `buffer` with the rows that are not to be encoded as the viewer has them. (libaom's map of active blocks has no
// effect at this speed.)
const webrtc::I420BufferInterface* AomAv1Encoder::withKeptRows(const webrtc::I420BufferInterface& buffer, bool key) {
  const int height = buffer.height();
  const int top = std::clamp(control_->top, 0, height) / 2 * 2;
  const int bottom = std::clamp(control_->bottom, top, height);
  aom_image_t kept{};
  if (key || (top == 0 && bottom == height) ||
      aom_codec_control(&context_, AV1_GET_NEW_FRAME_IMAGE, &kept) != AOM_CODEC_OK) {
    return &buffer;
  }
  if (!composed_ || composed_->width() != buffer.width() || composed_->height() != height)
    composed_ = webrtc::I420Buffer::Create(buffer.width(), height);
  const auto compose = [&](int plane, const uint8_t* from, int fromStride, uint8_t* to, int toStride, int width,
                           int begin, int end, int rows) {
    for (int row = 0; row < rows; ++row) {
      const bool fresh = row >= begin && row < end;
      std::memcpy(to + static_cast<std::ptrdiff_t>(row) * toStride,
                  fresh ? from + static_cast<std::ptrdiff_t>(row) * fromStride
                        : kept.planes[plane] + static_cast<std::ptrdiff_t>(row) * kept.stride[plane],
                  static_cast<size_t>(width));
    }
  };
  const int half = buffer.ChromaWidth();
  const int chromaBottom = (bottom + 1) / 2;
  compose(AOM_PLANE_Y, buffer.DataY(), buffer.StrideY(), composed_->MutableDataY(), composed_->StrideY(),
          buffer.width(), top, bottom, height);
  compose(AOM_PLANE_U, buffer.DataU(), buffer.StrideU(), composed_->MutableDataU(), composed_->StrideU(), half, top / 2,
          chromaBottom, buffer.ChromaHeight());
  compose(AOM_PLANE_V, buffer.DataV(), buffer.StrideV(), composed_->MutableDataV(), composed_->StrideV(), half, top / 2,
          chromaBottom, buffer.ChromaHeight());
  return composed_.get();
}

int32_t AomAv1Encoder::deliver(const webrtc::VideoFrame& frame) {
  aom_codec_iter_t iterator = nullptr;
  bool delivered = false;
  while (const aom_codec_cx_pkt_t* packet = aom_codec_get_cx_data(&context_, &iterator)) {
    if (packet->kind != AOM_CODEC_CX_FRAME_PKT || packet->data.frame.sz == 0) continue;
    const bool key = (packet->data.frame.flags & AOM_FRAME_IS_KEY) != 0;
    webrtc::EncodedImage encoded;
    encoded.SetEncodedData(
        webrtc::EncodedImageBuffer::Create(static_cast<const uint8_t*>(packet->data.frame.buf), packet->data.frame.sz));
    encoded._encodedWidth = config_.g_w;
    encoded._encodedHeight = config_.g_h;
    encoded._frameType = key ? webrtc::VideoFrameType::kVideoFrameKey : webrtc::VideoFrameType::kVideoFrameDelta;
    encoded.SetTimestamp(frame.timestamp());
    encoded.SetColorSpace(frame.color_space());
    encoded.rotation_ = frame.rotation();
    encoded.capture_time_ms_ = frame.render_time_ms();
    int quantizer = -1;
    if (aom_codec_control(&context_, AOME_GET_LAST_QUANTIZER, &quantizer) == AOM_CODEC_OK) encoded.qp_ = quantizer;

    webrtc::CodecSpecificInfo info;
    info.codecType = webrtc::kVideoCodecAV1;
    info.end_of_picture = true;
    callback_->OnEncodedImage(encoded, &info);
    delivered = true;
  }
  if (!delivered) callback_->OnDroppedFrame(webrtc::EncodedImageCallback::DropReason::kDroppedByEncoder);
  return WEBRTC_VIDEO_CODEC_OK;
}

webrtc::VideoEncoder::EncoderInfo AomAv1Encoder::GetEncoderInfo() const {
  EncoderInfo info;
  info.supports_native_handle = false;
  info.implementation_name = "libaom";
  info.has_trusted_rate_controller = false;
  info.is_hardware_accelerated = false;
  info.scaling_settings = ScalingSettings::kOff;  // Text stays readable: fewer bits, never fewer pixels.
  info.preferred_pixel_formats = {webrtc::VideoFrameBuffer::Type::kI420};
  return info;
}

}  // namespace vantora
