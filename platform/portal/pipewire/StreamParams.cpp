#include "platform/portal/pipewire/StreamParams.h"

#include <spa/buffer/buffer.h>
#include <spa/buffer/meta.h>
#include <spa/param/buffers.h>
#include <spa/param/format-utils.h>
#include <spa/param/param.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>

namespace vantora {
namespace {

// Bytes of the metadata of a cursor with an image of this many pixels in each direction.
constexpr int cursorBytes(int length) {
  return static_cast<int>(sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap)) + length * length * 4;
}

// A compositor names one fixed size, which has to be in the range: mutter 384 x 384.
constexpr int kUsualCursor = 64;
constexpr int kMaxCursor = 1024;

constexpr int kUsualDamage = 16;
constexpr int kMaxDamage = 64;

// One frame waits to be read and one is being read.
constexpr int kUsualBuffers = 4;
constexpr int kMinBuffers = 2;
constexpr int kMaxBuffers = 32;

}  // namespace

StreamParams::StreamParams(Kind kind) {
  if (kind == Kind::formats) {
    addFormats();
  } else {
    addBuffers();
  }
}

void StreamParams::addFormats() {
  spa_pod_builder builder{};
  spa_pod_builder_init(&builder, memory_.data(), memory_.size());
  const spa_rectangle usual{1920, 1080};
  const spa_rectangle smallest{1, 1};
  const spa_rectangle largest{kMaxStreamLength, kMaxStreamLength};
  const spa_fraction asItChanges{0, 1};
  const spa_fraction fastest{1000, 1};
  spa_pod_frame frame{};
  spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
  spa_pod_builder_add(&builder, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
                      SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_format,
                      SPA_POD_CHOICE_ENUM_Id(5, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA,
                                             SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_RGBA),
                      SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&usual, &smallest, &largest),
                      SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&asItChanges, &asItChanges, &fastest),
                      0);
  pods_.push_back(static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame)));
}

void StreamParams::addBuffers() {
  spa_pod_builder builder{};
  spa_pod_builder_init(&builder, memory_.data(), memory_.size());
  spa_pod_frame frame{};
  const auto object = [&](std::uint32_t type, std::uint32_t id, auto... properties) {
    spa_pod_builder_push_object(&builder, &frame, type, id);
    spa_pod_builder_add(&builder, properties..., 0);
    pods_.push_back(static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame)));
  };
  const auto meta = [&](std::uint32_t type, auto... size) {
    object(SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(type), SPA_PARAM_META_size,
           size...);
  };
  object(SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
         SPA_POD_CHOICE_RANGE_Int(kUsualBuffers, kMinBuffers, kMaxBuffers), SPA_PARAM_BUFFERS_dataType,
         SPA_POD_CHOICE_FLAGS_Int(1 << SPA_DATA_MemFd | 1 << SPA_DATA_MemPtr));
  meta(SPA_META_Header, SPA_POD_Int(sizeof(spa_meta_header)));
  meta(SPA_META_VideoCrop, SPA_POD_Int(sizeof(spa_meta_region)));
  constexpr int kRegion = sizeof(spa_meta_region);
  meta(SPA_META_VideoDamage, SPA_POD_CHOICE_RANGE_Int(kRegion * kUsualDamage, kRegion, kRegion * kMaxDamage));
  meta(SPA_META_Cursor, SPA_POD_CHOICE_RANGE_Int(cursorBytes(kUsualCursor), cursorBytes(1), cursorBytes(kMaxCursor)));
  meta(SPA_META_VideoTransform, SPA_POD_Int(sizeof(spa_meta_videotransform)));
}

std::optional<StreamFormat> parseFormat(const spa_pod* param) {
  std::uint32_t mediaType = 0;
  std::uint32_t mediaSubtype = 0;
  spa_video_info_raw info{};
  if (param == nullptr || spa_format_parse(param, &mediaType, &mediaSubtype) < 0 || mediaType != SPA_MEDIA_TYPE_video ||
      mediaSubtype != SPA_MEDIA_SUBTYPE_raw || spa_format_video_raw_parse(param, &info) < 0) {
    return std::nullopt;
  }
  if (info.size.width == 0 || info.size.height == 0 || info.size.width > kMaxStreamLength ||
      info.size.height > kMaxStreamLength) {
    return std::nullopt;
  }
  const QSize size(static_cast<int>(info.size.width), static_cast<int>(info.size.height));
  switch (info.format) {
    case SPA_VIDEO_FORMAT_BGRx:
    case SPA_VIDEO_FORMAT_BGRA:
      return StreamFormat{size, PixelFormat::bgrx};
    case SPA_VIDEO_FORMAT_RGBx:
    case SPA_VIDEO_FORMAT_RGBA:
      return StreamFormat{size, PixelFormat::rgbx};
    default:
      return std::nullopt;
  }
}

}  // namespace vantora
