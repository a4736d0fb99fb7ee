#include "main/video/encoders/VpxEncoders.h"

#include <api/transport/field_trial_based_config.h>
#include <media/base/codec.h>
#include <modules/video_coding/codecs/interface/libvpx_interface.h>
#include <modules/video_coding/codecs/vp8/libvpx_vp8_encoder.h>
#include <modules/video_coding/codecs/vp9/libvpx_vp9_encoder.h>

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

namespace vantora {
namespace {

constexpr int kCoarsest = 63;
// Blocks of the map of what is encoded, in pixels.
constexpr int kBlock = 16;

// Wraps libvpx for an encoder: sets the quantizer and the active part of each frame and forwards everything else.
class ControlledVpx final : public webrtc::LibvpxInterface {
 public:
  ControlledVpx(std::shared_ptr<const FrameControl> control, bool isVp9)
      : control_(std::move(control)), isVp9_(isVp9) {}

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
    config_ = controlled(*config);
    return vpx_->codec_enc_config_set(context, &config_);
  }
  vpx_codec_err_t codec_enc_config_default(vpx_codec_iface_t* codec, vpx_codec_enc_cfg_t* config,
                                           unsigned usage) const override {
    return vpx_->codec_enc_config_default(codec, config, usage);
  }
  vpx_codec_err_t codec_enc_init(vpx_codec_ctx_t* context, vpx_codec_iface_t* codec, const vpx_codec_enc_cfg_t* config,
                                 vpx_codec_flags_t flags) const override {
    config_ = controlled(*config);
    map_.clear();
    const vpx_codec_err_t result = vpx_->codec_enc_init(context, codec, &config_, flags);
    // libvpx keeps the address for as long as the context lives.
    context->config.enc = config;
    if (result != VPX_CODEC_OK || !isVp9_) return result;
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
    std::fill(std::begin(value->max_quantizers), std::end(value->max_quantizers), kCoarsest);
    return vpx_->codec_control(context, id, value);
  }
  vpx_codec_err_t codec_control(vpx_codec_ctx_t* context, vp8e_enc_control_id id, uint32_t value) const override {
    return vpx_->codec_control(context, id, value);
  }
  vpx_codec_err_t codec_control(vpx_codec_ctx_t* context, vp8e_enc_control_id id, int value) const override {
    // Adaptive quantization refreshes parts of the frame in turn, whatever the map says and the link carries.
    return vpx_->codec_control(context, id, id == VP9E_SET_AQ_MODE ? 0 : value);
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
    if (const int quantizer = control_->quantizer;
        quantizer >= 0 && config_.rc_max_quantizer != static_cast<unsigned>(quantizer)) {
      config_ = controlled(config_);
      if (const vpx_codec_err_t error = vpx_->codec_enc_config_set(context, &config_)) return error;
    }
    if (const vpx_codec_err_t error = activate(context)) return error;
    return vpx_->codec_encode(context, image, time, duration, flags, deadline);
  }
  const vpx_codec_cx_pkt_t* codec_get_cx_data(vpx_codec_ctx_t* context, vpx_codec_iter_t* iterator) const override {
    return vpx_->codec_get_cx_data(context, iterator);
  }
  const char* codec_error_detail(vpx_codec_ctx_t* context) const override { return vpx_->codec_error_detail(context); }
  const char* codec_error(vpx_codec_ctx_t* context) const override { return vpx_->codec_error(context); }
  const char* codec_err_to_string(vpx_codec_err_t error) const override { return vpx_->codec_err_to_string(error); }

 private:
  vpx_codec_enc_cfg_t controlled(vpx_codec_enc_cfg_t config) const {
    if (control_->quantizer >= 0) {
      config.rc_min_quantizer = config.rc_max_quantizer = static_cast<unsigned>(control_->quantizer);
    } else {
      config.rc_max_quantizer = kCoarsest;
    }
    return config;
  }

  vpx_codec_err_t activate(vpx_codec_ctx_t* context) const {
    const unsigned rows = (config_.g_h + kBlock - 1) / kBlock;
    const unsigned columns = (config_.g_w + kBlock - 1) / kBlock;
    std::vector<unsigned char> map(size_t{rows} * columns);
    for (unsigned row = 0; row < rows; ++row) {
      const int top = static_cast<int>(row) * kBlock;
      const bool active = top + kBlock > control_->top && top < control_->bottom;
      std::fill_n(map.begin() + static_cast<std::ptrdiff_t>(size_t{row} * columns), columns, active ? 1 : 0);
    }
    // libvpx forgets a map by itself, with a change of the quantizer for example.
    const bool whole = std::ranges::find(map, 0) == map.end();
    if (whole && map == map_) return VPX_CODEC_OK;
    map_ = std::move(map);
    vpx_active_map active{map_.data(), rows, columns};
    return vpx_->codec_control(context, VP8E_SET_ACTIVEMAP, &active);
  }

  const std::shared_ptr<const FrameControl> control_;
  const bool isVp9_;
  // As the encoder has set it, but with the frame's quantizer.
  mutable vpx_codec_enc_cfg_t config_{};
  mutable std::vector<unsigned char> map_;  // Empty: none is set.
  const std::unique_ptr<webrtc::LibvpxInterface> vpx_ = webrtc::LibvpxInterface::Create();
};

}  // namespace

std::unique_ptr<webrtc::VideoEncoder> makeVp8Encoder(std::shared_ptr<const FrameControl> control) {
  return std::make_unique<webrtc::LibvpxVp8Encoder>(std::make_unique<ControlledVpx>(std::move(control), false),
                                                    webrtc::VP8Encoder::Settings());
}

std::unique_ptr<webrtc::VideoEncoder> makeVp9Encoder(const webrtc::SdpVideoFormat& format,
                                                     std::shared_ptr<const FrameControl> control) {
  return std::make_unique<webrtc::LibvpxVp9Encoder>(cricket::VideoCodec(format),
                                                    std::make_unique<ControlledVpx>(std::move(control), true),
                                                    webrtc::FieldTrialBasedConfig());
}

}  // namespace vantora
