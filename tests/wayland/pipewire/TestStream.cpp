#include "tests/wayland/pipewire/TestStream.h"

#include <spa/param/buffers.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstring>

namespace vantora::testpipewire {
namespace {

constexpr int kCursorLength = 384;
constexpr std::size_t kCursorBytes =
    sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap) + static_cast<std::size_t>(kCursorLength) * kCursorLength * 4;
constexpr std::size_t kMaxDamage = 8;

const spa_pod* formatPod(spa_pod_builder& builder, std::uint32_t format, QSize size) {
  spa_video_info_raw info{};
  info.format = static_cast<spa_video_format>(format);
  info.size = {static_cast<std::uint32_t>(size.width()), static_cast<std::uint32_t>(size.height())};
  info.max_framerate = {60, 1};
  spa_pod_frame frame{};
  spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
  spa_pod_builder_add(&builder, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
                      SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_format, SPA_POD_Id(info.format),
                      SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&info.size), SPA_FORMAT_VIDEO_framerate,
                      SPA_POD_Fraction(&info.framerate), SPA_FORMAT_VIDEO_maxFramerate,
                      SPA_POD_Fraction(&info.max_framerate), 0);
  return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
}

template <typename Meta>
Meta* metaOf(const spa_buffer& buffer, std::uint32_t type) {
  return static_cast<Meta*>(spa_buffer_find_meta_data(&buffer, type, sizeof(Meta)));
}

spa_region regionOf(const QRect& rect) {
  return {{rect.x(), rect.y()}, {static_cast<std::uint32_t>(rect.width()), static_cast<std::uint32_t>(rect.height())}};
}

}  // namespace

const pw_stream_events TestStream::kEvents = [] {
  pw_stream_events events{};
  events.version = PW_VERSION_STREAM_EVENTS;
  events.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char*) {
    static_cast<TestStream*>(self)->stateChanged(state);
  };
  events.param_changed = [](void* self, std::uint32_t id, const spa_pod* param) {
    if (id == SPA_PARAM_Format && param != nullptr) static_cast<TestStream*>(self)->formatChosen();
  };
  events.add_buffer = [](void* self, pw_buffer* buffer) { static_cast<TestStream*>(self)->addBuffer(buffer); };
  events.remove_buffer = [](void* self, pw_buffer* buffer) { static_cast<TestStream*>(self)->removeBuffer(buffer); };
  return events;
}();

TestStream::TestStream(const PipeWireServer& server, const Options& options) : client_(server), options_(options) {
  picture_.resize(static_cast<std::size_t>(options_.size.width()) * static_cast<std::size_t>(options_.size.height()));
  const PipeWireClient::Lock lock(client_);
  stream_ = pw_stream_new(client_.core(), "screen", pw_properties_new(nullptr, nullptr));
  pw_stream_add_listener(stream_, &hook_, &kEvents, this);
  std::array<std::uint8_t, 1024> memory{};
  spa_pod_builder builder{};
  spa_pod_builder_init(&builder, memory.data(), memory.size());
  const spa_pod* param = formatPod(builder, options_.format, options_.size);
  pw_stream_connect(stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY,
                    static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_ALLOC_BUFFERS), &param, 1);
}

TestStream::~TestStream() {
  const PipeWireClient::Lock lock(client_);
  pw_stream_destroy(stream_);
}

std::uint32_t TestStream::node() const {
  testloop::Timeout timeout;
  while (!timeout.isOver()) {
    {
      const PipeWireClient::Lock lock(client_);
      if (const std::uint32_t id = pw_stream_get_node_id(stream_); id != PW_ID_ANY) return id;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return PW_ID_ANY;
}

void TestStream::stateChanged(pw_stream_state state) {
  const bool streams = state == PW_STREAM_STATE_STREAMING;
  if (!streaming_.exchange(streams) && streams) ++starts_;
}

void TestStream::formatChosen() {
  std::array<std::uint8_t, 2048> memory{};
  spa_pod_builder builder{};
  spa_pod_builder_init(&builder, memory.data(), memory.size());
  std::vector<const spa_pod*> params;
  spa_pod_frame object{};
  spa_pod_builder_push_object(&builder, &object, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers);
  spa_pod_builder_add(&builder, SPA_PARAM_BUFFERS_buffers, SPA_POD_CHOICE_RANGE_Int(4, 2, 16), SPA_PARAM_BUFFERS_blocks,
                      SPA_POD_Int(1), SPA_PARAM_BUFFERS_size, SPA_POD_Int(static_cast<int>(bufferSize())),
                      SPA_PARAM_BUFFERS_stride, SPA_POD_Int(static_cast<int>(stride())), SPA_PARAM_BUFFERS_dataType,
                      SPA_POD_CHOICE_FLAGS_Int(1 << SPA_DATA_MemFd), 0);
  params.push_back(static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &object)));
  const auto meta = [&](std::uint32_t type, std::size_t size) {
    spa_pod_builder_push_object(&builder, &object, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta);
    spa_pod_builder_add(&builder, SPA_PARAM_META_type, SPA_POD_Id(type), SPA_PARAM_META_size,
                        SPA_POD_Int(static_cast<int>(size)), 0);
    params.push_back(static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &object)));
  };
  meta(SPA_META_Header, sizeof(spa_meta_header));
  meta(SPA_META_VideoCrop, sizeof(spa_meta_region));
  meta(SPA_META_Cursor, kCursorBytes);
  meta(SPA_META_VideoTransform, sizeof(spa_meta_videotransform));
  if (options_.damage) meta(SPA_META_VideoDamage, sizeof(spa_meta_region) * kMaxDamage);
  pw_stream_update_params(stream_, params.data(), static_cast<std::uint32_t>(params.size()));
}

void TestStream::addBuffer(pw_buffer* buffer) {
  Memory& memory = memory_[buffer];
  memory.length = bufferSize();
  memory.descriptor = ::memfd_create("frame", MFD_CLOEXEC);
  if (::ftruncate(memory.descriptor, static_cast<off_t>(memory.length)) != 0) return;
  memory.data = static_cast<std::uint8_t*>(
      ::mmap(nullptr, memory.length, PROT_READ | PROT_WRITE, MAP_SHARED, memory.descriptor, 0));
  if (::ftruncate(memory.descriptor, static_cast<off_t>(memory.length - options_.missing)) != 0) return;
  spa_data& data = buffer->buffer->datas[0];
  data.type = SPA_DATA_MemFd;
  data.flags = SPA_DATA_FLAG_READWRITE;
  data.fd = memory.descriptor;
  data.mapoffset = 0;
  data.maxsize = static_cast<std::uint32_t>(memory.length);
  data.data = memory.data;
}

void TestStream::removeBuffer(pw_buffer* buffer) {
  const Memory memory = memory_[buffer];
  memory_.erase(buffer);
  ::munmap(memory.data, memory.length);
  ::close(memory.descriptor);
}

void TestStream::paint(std::uint32_t colour, const QRect& area) {
  for (int y = area.top(); y <= area.bottom(); ++y) {
    for (int x = area.left(); x <= area.right(); ++x) {
      picture_[static_cast<std::size_t>(y) * static_cast<std::size_t>(options_.size.width()) +
               static_cast<std::size_t>(x)] = colour;
    }
  }
}

bool TestStream::send(const TestFrame& frame) {
  testloop::Timeout timeout;
  while (!timeout.isOver()) {
    if (trySend(frame)) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return false;
}

bool TestStream::trySend(const TestFrame& frame) {
  const PipeWireClient::Lock lock(client_);
  if (!isStreaming()) return false;
  pw_buffer* const buffer = pw_stream_dequeue_buffer(stream_);
  if (buffer == nullptr) return false;
  fill(*buffer->buffer, frame);
  if (options_.missing == 0) fillPixels(memory_[buffer].data + options_.start);
  pw_stream_queue_buffer(stream_, buffer);
  return true;
}

void TestStream::fill(const spa_buffer& buffer, const TestFrame& frame) {
  spa_chunk& chunk = *buffer.datas[0].chunk;
  chunk.flags = frame.flags;
  chunk.size = frame.size.value_or(static_cast<std::uint32_t>(bufferSize() - options_.start));
  chunk.stride = frame.stride.value_or(static_cast<std::int32_t>(stride()));
  chunk.offset = frame.offset.value_or(options_.start);
  if (auto* const header = metaOf<spa_meta_header>(buffer, SPA_META_Header)) {
    *header = {};
    header->pts = frame.pts;
    header->seq = sequence_ += frame.lost + 1;
  }
  if (auto* const crop = metaOf<spa_meta_region>(buffer, SPA_META_VideoCrop)) {
    crop->region = regionOf(frame.crop.value_or(QRect()));
  }
  if (auto* const transform = metaOf<spa_meta_videotransform>(buffer, SPA_META_VideoTransform)) {
    transform->transform = frame.transform;
  }
  if (auto* const damage = metaOf<spa_meta_region>(buffer, SPA_META_VideoDamage)) {
    for (std::size_t i = 0; i < kMaxDamage; ++i) {
      damage[i].region = regionOf(i < frame.damage.size() ? frame.damage[i] : QRect());
    }
  }
  fillCursor(buffer, frame.cursor.value_or(TestCursor{.id = 0}));
}

void TestStream::fillCursor(const spa_buffer& buffer, const TestCursor& cursor) const {
  auto* const meta = metaOf<spa_meta_cursor>(buffer, SPA_META_Cursor);
  if (meta == nullptr) return;
  *meta = {};
  meta->id = cursor.id;
  meta->position = {cursor.position.x(), cursor.position.y()};
  meta->hotspot = {cursor.hotSpot.x(), cursor.hotSpot.y()};
  if (cursor.pixels.empty()) return;
  meta->bitmap_offset = sizeof *meta;
  auto* const bitmap = reinterpret_cast<spa_meta_bitmap*>(meta + 1);
  *bitmap = {};
  bitmap->format = SPA_VIDEO_FORMAT_RGBA;
  bitmap->size = {static_cast<std::uint32_t>(cursor.size.width()), static_cast<std::uint32_t>(cursor.size.height())};
  bitmap->stride = cursor.size.width() * 4;
  bitmap->offset = sizeof *bitmap;
  auto* byte = reinterpret_cast<std::uint8_t*>(bitmap + 1);
  for (const std::uint32_t pixel : cursor.pixels) {
    for (const int shift : {16, 8, 0, 24}) *byte++ = static_cast<std::uint8_t>(pixel >> shift);
  }
}

void TestStream::fillPixels(std::uint8_t* start) const {
  const bool blueFirst = options_.format == SPA_VIDEO_FORMAT_BGRx || options_.format == SPA_VIDEO_FORMAT_BGRA;
  const auto width = static_cast<std::size_t>(options_.size.width());
  for (std::size_t y = 0; y < static_cast<std::size_t>(options_.size.height()); ++y) {
    std::uint8_t* byte = start + y * stride();
    for (std::size_t x = 0; x < width; ++x) {
      const std::uint32_t colour = picture_[y * width + x];
      *byte++ = static_cast<std::uint8_t>(colour >> (blueFirst ? 0 : 16));
      *byte++ = static_cast<std::uint8_t>(colour >> 8);
      *byte++ = static_cast<std::uint8_t>(colour >> (blueFirst ? 16 : 0));
      *byte++ = 0xff;
    }
  }
}

void TestStream::resize(QSize size) {
  const PipeWireClient::Lock lock(client_);
  options_.size = size;
  picture_.assign(static_cast<std::size_t>(size.width()) * static_cast<std::size_t>(size.height()), 0);
  std::array<std::uint8_t, 1024> memory{};
  spa_pod_builder builder{};
  spa_pod_builder_init(&builder, memory.data(), memory.size());
  const spa_pod* param = formatPod(builder, options_.format, size);
  pw_stream_update_params(stream_, &param, 1);
}

}  // namespace vantora::testpipewire
