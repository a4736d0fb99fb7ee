#include "main/video/encoders/FullRangeVp9Encoder.h"

#include <api/transport/field_trial_based_config.h>
#include <media/base/codec.h>
#include <modules/video_coding/codecs/interface/libvpx_interface.h>
#include <modules/video_coding/codecs/vp9/libvpx_vp9_encoder.h>

#include <algorithm>
#include <iterator>

namespace vantora {
namespace {

constexpr unsigned kCoarsest = 63;
// Below this many bits per second and pixel a frame may be finer than the one before by kSlowStep at most: the rate
// control would spend all saved bits on a still screen at once, which takes seconds to send.
constexpr double kSlowBelow = 1.2;
constexpr int kSlowStep = 3;

// Wraps libvpx for the encoder; changes the quantizer limits only and forwards everything else.
class FullRange final : public webrtc::LibvpxInterface {
 public:
  vpx_image_t* img_alloc(vpx_image_t* image, vpx_img_fmt_t format, unsigned width, unsigned height,
                         unsigned align) const override {
    return vpx_->img_alloc(image, format, width, height, align);
  }
  vpx_image_t* img_wrap(vpx_image_t* image, vpx_img_fmt_t format, unsigned width, unsigned height, unsigned align,
                        unsigned char* data) const override {
    return vpx_->img_wrap(image, format, width, height, align, data);
  }
  void img_free(vpx_image_t* image) const override { vpx_->img_free(image); }

  vpx_codec_err_t codec_enc_config_set(vpx_codec_ctx_t* context, const vpx_codec_enc_cfg_t* config) const override {
    const vpx_codec_enc_cfg_t wide = widened(*config);
    return vpx_->codec_enc_config_set(context, &wide);
  }
  vpx_codec_err_t codec_enc_config_default(vpx_codec_iface_t* codec, vpx_codec_enc_cfg_t* config,
                                           unsigned usage) const override {
    return vpx_->codec_enc_config_default(codec, config, usage);
  }
  vpx_codec_err_t codec_enc_init(vpx_codec_ctx_t* context, vpx_codec_iface_t* codec, const vpx_codec_enc_cfg_t* config,
                                 vpx_codec_flags_t flags) const override {
    const vpx_codec_enc_cfg_t wide = widened(*config);
    const vpx_codec_err_t result = vpx_->codec_enc_init(context, codec, &wide, flags);
    // libvpx keeps the address for as long as the context lives.
    context->config.enc = config;
    if (result != VPX_CODEC_OK) return result;
    // Only with the screen content tools motion search finds text that has moved by more than a few lines.
    return vpx_->codec_control(context, VP9E_SET_TUNE_CONTENT, static_cast<int>(VP9E_CONTENT_SCREEN));
  }
  vpx_codec_err_t codec_enc_init_multi(vpx_codec_ctx_t* context, vpx_codec_iface_t* codec, vpx_codec_enc_cfg_t* config,
                                       int encoders, vpx_codec_flags_t flags, vpx_rational_t* factors) const override {
    return vpx_->codec_enc_init_multi(context, codec, config, encoders, flags, factors);
  }
  vpx_codec_err_t codec_destroy(vpx_codec_ctx_t* context) const override { return vpx_->codec_destroy(context); }

  vpx_codec_err_t codec_control(vpx_codec_ctx_t* context, vp8e_enc_control_id id,
                                vpx_svc_extra_cfg_t* value) const override {
    std::fill(std::begin(value->max_quantizers), std::end(value->max_quantizers), static_cast<int>(kCoarsest));
    return vpx_->codec_control(context, id, value);
  }
  vpx_codec_err_t codec_control(vpx_codec_ctx_t* context, vp8e_enc_control_id id, uint32_t value) const override {
    return vpx_->codec_control(context, id, value);
  }
  vpx_codec_err_t codec_control(vpx_codec_ctx_t* context, vp8e_enc_control_id id, int value) const override {
    return vpx_->codec_control(context, id, value);
  }
  vpx_codec_err_t codec_control(vpx_codec_ctx_t* context, vp8e_enc_control_id id, int* value) const override {
    return vpx_->codec_control(context, id, value);
  }
  vpx_codec_err_t codec_control(vpx_codec_ctx_t* context, vp8e_enc_control_id id, vpx_roi_map* value) const override {
    return vpx_->codec_control(context, id, value);
  }
  vpx_codec_err_t codec_control(vpx_codec_ctx_t* context, vp8e_enc_control_id id,
                                vpx_active_map* value) const override {
    return vpx_->codec_control(context, id, value);
  }
  vpx_codec_err_t codec_control(vpx_codec_ctx_t* context, vp8e_enc_control_id id,
                                vpx_scaling_mode* value) const override {
    return vpx_->codec_control(context, id, value);
  }
  vpx_codec_err_t codec_control(vpx_codec_ctx_t* context, vp8e_enc_control_id id,
                                vpx_svc_frame_drop_t* value) const override {
    return vpx_->codec_control(context, id, value);
  }
  vpx_codec_err_t codec_control(vpx_codec_ctx_t* context, vp8e_enc_control_id id, void* value) const override {
    return vpx_->codec_control(context, id, value);
  }
  vpx_codec_err_t codec_control(vpx_codec_ctx_t* context, vp8e_enc_control_id id,
                                vpx_svc_layer_id_t* value) const override {
    return vpx_->codec_control(context, id, value);
  }
  vpx_codec_err_t codec_control(vpx_codec_ctx_t* context, vp8e_enc_control_id id,
                                vpx_svc_ref_frame_config_t* value) const override {
    return vpx_->codec_control(context, id, value);
  }
  vpx_codec_err_t codec_control(vpx_codec_ctx_t* context, vp8e_enc_control_id id,
                                vpx_svc_spatial_layer_sync_t* value) const override {
    return vpx_->codec_control(context, id, value);
  }
  vpx_codec_err_t codec_control(vpx_codec_ctx_t* context, vp8e_enc_control_id id,
                                vpx_rc_funcs_t* value) const override {
    return vpx_->codec_control(context, id, value);
  }

  vpx_codec_err_t codec_encode(vpx_codec_ctx_t* context, const vpx_image_t* image, vpx_codec_pts_t time,
                               uint64_t duration, vpx_enc_frame_flags_t flags, uint64_t deadline) const override {
    const vpx_codec_err_t result = vpx_->codec_encode(context, image, time, duration, flags, deadline);
    if (result == VPX_CODEC_OK) vpx_->codec_control(context, VP8E_GET_LAST_QUANTIZER_64, &last_);
    return result;
  }
  const vpx_codec_cx_pkt_t* codec_get_cx_data(vpx_codec_ctx_t* context, vpx_codec_iter_t* iterator) const override {
    return vpx_->codec_get_cx_data(context, iterator);
  }
  const char* codec_error_detail(vpx_codec_ctx_t* context) const override { return vpx_->codec_error_detail(context); }
  const char* codec_error(vpx_codec_ctx_t* context) const override { return vpx_->codec_error(context); }
  const char* codec_err_to_string(vpx_codec_err_t error) const override { return vpx_->codec_err_to_string(error); }

 private:
  vpx_codec_enc_cfg_t widened(vpx_codec_enc_cfg_t config) const {
    config.rc_max_quantizer = kCoarsest;
    if (config.rc_target_bitrate * 1000.0 < kSlowBelow * config.g_w * config.g_h) {
      config.rc_min_quantizer =
          std::max(config.rc_min_quantizer, static_cast<unsigned>(std::max(last_ - kSlowStep, 0)));
    }
    return config;
  }

  // The quantizer of the last frame.
  mutable int last_ = 0;
  std::unique_ptr<webrtc::LibvpxInterface> vpx_ = webrtc::LibvpxInterface::Create();
};

}  // namespace

std::unique_ptr<webrtc::VideoEncoder> makeFullRangeVp9Encoder(const webrtc::SdpVideoFormat& format) {
  return std::make_unique<webrtc::LibvpxVp9Encoder>(cricket::VideoCodec(format), std::make_unique<FullRange>(),
                                                    webrtc::FieldTrialBasedConfig());
}

}  // namespace vantora
