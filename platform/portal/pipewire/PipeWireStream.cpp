#include "platform/portal/pipewire/PipeWireStream.h"

#include <fcntl.h>
#include <spa/utils/string.h>

#include <utility>

#include "platform/portal/pipewire/StreamParams.h"

namespace vantora {

class PipeWireStream::LoopLock {
 public:
  explicit LoopLock(const PipeWireStream& stream) : stream_(stream) { lock(); }
  ~LoopLock() { unlock(); }
  LoopLock(const LoopLock&) = delete;
  LoopLock& operator=(const LoopLock&) = delete;
  void lock() { stream_.pw_.threadLoopLock(stream_.loop_); }
  void unlock() { stream_.pw_.threadLoopUnlock(stream_.loop_); }

 private:
  const PipeWireStream& stream_;
};

const pw_stream_events PipeWireStream::kStreamEvents = [] {
  pw_stream_events events{};
  events.version = PW_VERSION_STREAM_EVENTS;
  events.state_changed = [](void* self, pw_stream_state before, pw_stream_state state, const char*) {
    static_cast<PipeWireStream*>(self)->stateChanged(before, state);
  };
  events.param_changed = [](void* self, std::uint32_t id, const spa_pod* param) {
    static_cast<PipeWireStream*>(self)->paramChanged(id, param);
  };
  events.remove_buffer = [](void* self, pw_buffer* buffer) { static_cast<PipeWireStream*>(self)->removed(buffer); };
  events.process = [](void* self) { static_cast<PipeWireStream*>(self)->process(); };
  return events;
}();

const pw_core_events PipeWireStream::kCoreEvents = [] {
  pw_core_events events{};
  events.version = PW_VERSION_CORE_EVENTS;
  events.done = [](void* data, std::uint32_t id, int sequence) {
    auto* const self = static_cast<PipeWireStream*>(data);
    // The server has named every node that there is.
    if (id == PW_ID_CORE && sequence == self->sync_ && !self->nodeExists_) self->lose();
  };
  events.error = [](void* self, std::uint32_t id, int, int, const char*) {
    if (id == PW_ID_CORE) static_cast<PipeWireStream*>(self)->lose();
  };
  return events;
}();

const pw_registry_events PipeWireStream::kRegistryEvents = [] {
  pw_registry_events events{};
  events.version = PW_VERSION_REGISTRY_EVENTS;
  events.global = [](void* data, std::uint32_t id, std::uint32_t, const char*, std::uint32_t, const spa_dict*) {
    auto* const self = static_cast<PipeWireStream*>(data);
    if (id == self->target_.node) self->nodeExists_ = true;
  };
  events.global_remove = [](void* data, std::uint32_t id) {
    auto* const self = static_cast<PipeWireStream*>(data);
    if (id == self->target_.node) self->lose();
  };
  return events;
}();

PipeWireStream::PipeWireStream(const PipeWireLibrary& library, Target target, std::function<void()> changed)
    : pw_(library), target_(std::move(target)), changed_(std::move(changed)), cursor_(target_.node) {}

PipeWireStream::~PipeWireStream() {
  if (loop_ != nullptr) pw_.threadLoopStop(loop_);
  if (stream_ != nullptr) {
    spa_hook_remove(&streamHook_);
    pw_.streamDestroy(stream_);
  }
  if (registry_ != nullptr) {
    spa_hook_remove(&registryHook_);
    pw_.proxyDestroy(reinterpret_cast<pw_proxy*>(registry_));
  }
  if (core_ != nullptr) {
    spa_hook_remove(&coreHook_);
    pw_.coreDisconnect(core_);
  }
  if (context_ != nullptr) pw_.contextDestroy(context_);
  if (loop_ != nullptr) pw_.threadLoopDestroy(loop_);
}

bool PipeWireStream::connect(const FileDescriptor& remote) {
  loop_ = pw_.threadLoopNew("pipewire", nullptr);
  if (loop_ == nullptr) return false;
  // A buffer that is not taken before the next one is lost, and with it an image of the cursor that is sent only once:
  // the thread that takes them has to run in time.
  context_ = pw_.contextNew(pw_.threadLoopGetLoop(loop_), pw_.propertiesNewString("config.name=client-rt.conf"), 0);
  if (context_ == nullptr) context_ = pw_.contextNew(pw_.threadLoopGetLoop(loop_), nullptr, 0);
  // The connection closes its descriptor, also when it fails.
  const int socket = ::fcntl(remote.get(), F_DUPFD_CLOEXEC, 0);
  if (context_ == nullptr || socket < 0) return false;
  core_ = pw_.contextConnectFd(context_, socket, nullptr, 0);
  if (core_ == nullptr) return false;
  watchServer();
  stream_ = pw_.streamNew(core_, "screen",
                          pw_.propertiesNewString("media.type=Video media.category=Capture media.role=Screen"));
  if (stream_ == nullptr) return false;
  pw_.streamAddListener(stream_, &streamHook_, &kStreamEvents, this);
  StreamParams formats = StreamParams::formats();
  constexpr auto kFlags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS |
                                                       PW_STREAM_FLAG_DONT_RECONNECT);
  return pw_.streamConnect(stream_, PW_DIRECTION_INPUT, target_.node, kFlags, formats.data(), formats.count()) >= 0 &&
         pw_.threadLoopStart(loop_) >= 0;
}

// A stream is not told that what it was connected to has gone.
void PipeWireStream::watchServer() {
  pw_core_add_listener(core_, &coreHook_, &kCoreEvents, this);
  registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
  if (registry_ == nullptr) return;
  pw_registry_add_listener(registry_, &registryHook_, &kRegistryEvents, this);
  sync_ = pw_core_sync(core_, PW_ID_CORE, 0);
}

bool PipeWireStream::hasFrame() const {
  const LoopLock lock(*this);
  return pending_.has_value();
}

std::optional<PipeWireStream::Clock::time_point> PipeWireStream::frameAwaitedSince() const {
  const LoopLock lock(*this);
  return awaitedSince_;
}

bool PipeWireStream::readFrame(const std::function<void(const BufferFrame&, const std::optional<FrameCursor>&)>& use) {
  LoopLock lock(*this);
  if (!pending_) return false;
  Pending newest = *std::exchange(pending_, std::nullopt);
  addDamage(skipped_, newest.frame.damage);
  newest.frame.damage = std::exchange(skipped_, std::vector<QRect>());
  std::optional<FrameCursor> cursor;
  if (cursor_.known()) cursor = FrameCursor{cursor_.position() - newest.frame.origin, cursor_.visible()};
  reading_ = newest.buffer;
  {
    // Never waits: its other holder has the lock of the loop too.
    const std::lock_guard memory(memoryInUse_);
    lock.unlock();
    use(newest.frame, cursor);
  }
  lock.lock();
  if (reading_ != nullptr) pw_.streamQueueBuffer(stream_, std::exchange(reading_, nullptr));
  return true;
}

void PipeWireStream::setActive(bool active) {
  const LoopLock lock(*this);
  if (std::exchange(active_, active) == active) return;
  pw_.streamSetActive(stream_, active);
}

void PipeWireStream::restart() {
  const LoopLock lock(*this);
  if (!active_) return;
  pw_.streamSetActive(stream_, false);
  pw_.streamSetActive(stream_, true);
}

void PipeWireStream::stateChanged(pw_stream_state before, pw_stream_state state) {
  streaming_ = state == PW_STREAM_STATE_STREAMING;
  awaitedSince_.reset();
  if (state == PW_STREAM_STATE_ERROR || (state == PW_STREAM_STATE_UNCONNECTED && before != state)) lose();
  if (streaming_) awaitFrame();
}

// The next frame may differ from the last one anywhere, whatever its damage says.
void PipeWireStream::awaitFrame() {
  skipped_.reset();
  if (!streaming_) return;
  awaitedSince_ = Clock::now();
  changed_();
}

void PipeWireStream::paramChanged(std::uint32_t id, const spa_pod* param) {
  if (id != SPA_PARAM_Format || param == nullptr) return;
  const auto before = std::exchange(format_, parseFormat(param));
  if (!format_) {
    lose();
    return;
  }
  StreamParams buffers = StreamParams::buffers();
  pw_.streamUpdateParams(stream_, buffers.data(), buffers.count());
  if (!before || before->size != format_->size) reportSize(format_->size);
  awaitFrame();
}

void PipeWireStream::removed(pw_buffer* buffer) {
  if (pending_ && pending_->buffer == buffer) {
    pending_.reset();
    awaitFrame();
  }
  if (reading_ == buffer) {
    const std::lock_guard memory(memoryInUse_);
    reading_ = nullptr;
  }
}

void PipeWireStream::process() {
  while (pw_buffer* const buffer = pw_.streamDequeueBuffer(stream_)) take(buffer);
}

void PipeWireStream::take(pw_buffer* buffer) {
  // PipeWire drops buffers that come faster than it passes them on, and their damage with them.
  const auto sequence = sequenceOf(*buffer->buffer);
  const bool follows = sequence && sequence_ && *sequence == *sequence_ + 1;
  sequence_ = sequence;
  if (!follows) skipped_.reset();
  if (const auto cursor = cursor_.read(*buffer->buffer)) target_.access->reportCursor(*cursor);
  auto frame = format_ ? vantora::readFrame(*buffer->buffer, *format_) : std::nullopt;
  if (!frame) {
    if (carriesPixels(*buffer->buffer)) skipped_.reset();
    pw_.streamQueueBuffer(stream_, buffer);
    return;
  }
  if (pending_) {
    addDamage(skipped_, pending_->frame.damage);
    pw_.streamQueueBuffer(stream_, pending_->buffer);
  }
  pending_ = Pending{buffer, std::move(*frame)};
  awaitedSince_.reset();
  reportSize(pending_->frame.view.size);
  changed_();
}

void PipeWireStream::reportSize(QSize size) {
  if (std::exchange(reportedSize_, size) != size) target_.access->reportFrameSize(target_.node, size);
}

void PipeWireStream::lose() {
  lost_.store(true);
  awaitedSince_.reset();
  changed_();
}

}  // namespace vantora
