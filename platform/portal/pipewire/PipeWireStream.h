// The receiving end of one PipeWire stream.
#pragma once

#include <pipewire/pipewire.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "base/process/FileDescriptor.h"
#include "platform/portal/StreamAccess.h"
#include "platform/portal/pipewire/CursorReader.h"
#include "platform/portal/pipewire/PipeWireLibrary.h"
#include "platform/portal/pipewire/StreamBuffer.h"

namespace vantora {

// Owns the thread "pipewire", on which buffers arrive, and keeps the newest of them until it is read. Methods are for
// the owner's thread; none waits for the compositor or for PipeWire's server.
class PipeWireStream {
 public:
  using Clock = std::chrono::steady_clock;
  struct Target {
    std::uint32_t node = 0;
    std::shared_ptr<StreamAccess> access;  // For reports, on the thread of the stream.
  };

  // `changed` is called on the thread of the stream when there is a frame to read, when the wait for one begins and
  // when the stream is lost.
  PipeWireStream(const PipeWireLibrary& library, Target target, std::function<void()> changed);
  ~PipeWireStream();
  PipeWireStream(const PipeWireStream&) = delete;
  PipeWireStream& operator=(const PipeWireStream&) = delete;

  // Once. False when the library does not start.
  [[nodiscard]] bool connect(const FileDescriptor& remote);
  // The stream has ended or the connection is broken, permanently.
  bool isLost() const { return lost_.load(); }
  bool hasFrame() const;
  // Since when the compositor has been expected to send a frame of the whole screen; nullopt: it need not.
  std::optional<Clock::time_point> frameAwaitedSince() const;
  // Calls `use` with the newest frame that was not read yet, then gives its buffer back. False without such a frame.
  bool readFrame(const std::function<void(const BufferFrame&, const std::optional<FrameCursor>&)>& use);
  // While inactive, the compositor need not record the screen. Active at first.
  void setActive(bool active);
  // Makes the compositor begin anew, with a frame of the whole screen; no effect while inactive. (A new negotiation of
  // the format has not this effect on mutter.)
  void restart();

 private:
  struct Pending {
    pw_buffer* buffer = nullptr;
    BufferFrame frame;
  };
  // Callbacks of the library hold it too.
  class LoopLock;

  static const pw_stream_events kStreamEvents;
  static const pw_core_events kCoreEvents;
  static const pw_registry_events kRegistryEvents;
  void watchServer();
  void stateChanged(pw_stream_state before, pw_stream_state state);
  void paramChanged(std::uint32_t id, const spa_pod* param);
  void removed(pw_buffer* buffer);
  void process();
  void take(pw_buffer* buffer);
  void awaitFrame();
  void reportSize(QSize size);
  void lose();

  const PipeWireLibrary& pw_;
  const Target target_;
  const std::function<void()> changed_;
  std::atomic<bool> lost_{false};

  // Set while no thread of the stream is running.
  pw_thread_loop* loop_ = nullptr;
  pw_context* context_ = nullptr;
  pw_core* core_ = nullptr;
  pw_registry* registry_ = nullptr;
  pw_stream* stream_ = nullptr;
  spa_hook coreHook_{};
  spa_hook registryHook_{};
  spa_hook streamHook_{};

  // Held while the memory of a frame is read, so that it is not unmapped then.
  std::mutex memoryInUse_;

  // Guarded by the loop's lock.
  std::optional<StreamFormat> format_;
  std::optional<Pending> pending_;
  pw_buffer* reading_ = nullptr;
  // Damage of frames that were not read.
  FrameDamage skipped_ = std::vector<QRect>();
  std::optional<std::uint64_t> sequence_;  // Of the last buffer.
  std::optional<Clock::time_point> awaitedSince_;
  CursorReader cursor_;
  QSize reportedSize_;
  bool active_ = true;
  bool streaming_ = false;
  bool nodeExists_ = false;
  int sync_ = 0;
};

}  // namespace vantora
