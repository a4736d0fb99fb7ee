#include "platform/portal/CaptureConsent.h"

#include <utility>

namespace vantora {

StreamAccess::Reply CaptureConsent::request(std::function<void()> decided) {
  {
    const std::lock_guard lock(mutex_);
    switch (state_) {
      case State::refused:
        return {.outcome = Outcome::refused, .error = reason_};
      case State::granted:
        state_ = State::idle;
        return {.outcome = Outcome::granted, .streams = std::move(streams_), .remote = std::move(remote_)};
      case State::idle:
      case State::waiting:
        break;
    }
    decided_ = std::move(decided);
    if (std::exchange(state_, State::waiting) == State::waiting) return {.outcome = Outcome::pending};
  }
  events_.requested(weak_from_this());
  return {.outcome = Outcome::pending};
}

void CaptureConsent::cancel() {
  const std::lock_guard lock(mutex_);
  if (state_ == State::refused) return;
  state_ = State::idle;
  decided_ = nullptr;
  remote_.reset();
}

void CaptureConsent::reportCursor(const StreamCursor& cursor) {
  {
    const std::lock_guard lock(mutex_);
    auto earlier = std::exchange(cursor_, cursor);
    if (earlier) {
      if (!cursor_->bitmap && earlier->node == cursor.node) cursor_->bitmap = std::move(earlier->bitmap);
      return;
    }
  }
  events_.cursorReported(weak_from_this());
}

std::optional<StreamCursor> CaptureConsent::takeCursor() {
  const std::lock_guard lock(mutex_);
  return std::exchange(cursor_, std::nullopt);
}

bool CaptureConsent::isWaiting() const {
  const std::lock_guard lock(mutex_);
  return state_ == State::waiting;
}

void CaptureConsent::grant(std::vector<PortalStream> streams, FileDescriptor remote) {
  std::unique_lock lock(mutex_);
  if (state_ != State::waiting) return;
  state_ = State::granted;
  streams_ = std::move(streams);
  remote_ = std::move(remote);
  const auto decided = std::exchange(decided_, nullptr);
  lock.unlock();
  decided();
}

void CaptureConsent::refuse(const QString& reason) {
  std::unique_lock lock(mutex_);
  if (std::exchange(state_, State::refused) == State::refused) return;
  reason_ = reason;
  remote_.reset();
  const auto decided = std::exchange(decided_, nullptr);
  lock.unlock();
  if (decided) decided();
}

}  // namespace vantora
