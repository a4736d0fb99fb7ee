// The consent for one capture, between the capture's threads and the desktop session.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/portal/StreamAccess.h"

namespace vantora {

// grant(), refuse(), isWaiting() and takeCursor() are for the main thread, the rest for any.
class CaptureConsent final : public StreamAccess, public std::enable_shared_from_this<CaptureConsent> {
 public:
  // What it tells the desktop session; called on any thread, must not block and do nothing once the session is gone.
  struct Events {
    std::function<void(std::weak_ptr<CaptureConsent>)> requested;
    // No capture needs this consent any more.
    std::function<void()> ended;
    std::function<void(std::uint32_t node)> nudge;
    std::function<void(std::uint32_t node, QSize pixels)> frameSize;
    // takeCursor() has something; not called again before it was called.
    std::function<void(std::weak_ptr<CaptureConsent>)> cursorReported;
  };

  explicit CaptureConsent(Events events) : events_(std::move(events)) {}
  ~CaptureConsent() override { events_.ended(); }

  Reply request(std::function<void()> decided) override;
  void cancel() override;
  void nudge(std::uint32_t node) override { events_.nudge(node); }
  void reportFrameSize(std::uint32_t node, QSize pixels) override { events_.frameSize(node, pixels); }
  void reportCursor(const StreamCursor& cursor) override;

  // A request waits for its decision.
  bool isWaiting() const;
  void grant(std::vector<PortalStream> streams, FileDescriptor remote);
  // The newest report, with the newest image if that has come since the last call.
  std::optional<StreamCursor> takeCursor();
  // Permanent.
  void refuse(const QString& reason);

 private:
  enum class State { idle, waiting, granted, refused };

  const Events events_;
  mutable std::mutex mutex_;
  State state_ = State::idle;
  std::function<void()> decided_;
  std::vector<PortalStream> streams_;
  FileDescriptor remote_;
  QString reason_;
  std::optional<StreamCursor> cursor_;
};

}  // namespace vantora
