// A cursor that the test sets.
#pragma once

#include <utility>

#include "platform/SystemCursor.h"

namespace vantora::fakes {

// Follows the contract of SystemCursor: no event and no cursor while nobody watches, one pointer event for each arming.
class FakeSystemCursor final : public SystemCursor {
 public:
  void watch(Handlers handlers) override {
    handlers_ = std::move(handlers);
    watched_ = true;
    ++watches;
  }
  void unwatch() override {
    handlers_ = {};
    watched_ = false;
    armed_ = false;
  }
  void armPointerEvent() override { armed_ = watched_; }
  std::optional<ShownCursor> currentCursor() override {
    ++reads;
    if (!watched_ || !cursor_) return std::nullopt;
    ShownCursor shown{*cursor_};
    if (cursor_->isEmpty()) shown.bitmap = CursorBitmap{{2, 2}, {1, 0}, std::vector<std::uint32_t>(4, 0xff000000)};
    return shown;
  }

  // The desktop shows another cursor and reports it; nullopt: the desktop is gone.
  void show(std::optional<QString> cursor) {
    cursor_ = std::move(cursor);
    if (const auto handler = handlers_.cursorChanged) handler();
  }
  // The same without an event.
  void showQuietly(std::optional<QString> cursor) { cursor_ = std::move(cursor); }
  // The local user moves or clicks. True when an event was reported.
  bool usePointer() {
    if (!std::exchange(armed_, false)) return false;
    if (const auto handler = handlers_.pointerUsed) handler();
    return true;
  }
  bool watched() const { return watched_; }
  bool armed() const { return armed_; }

  int watches = 0;
  int reads = 0;

 private:
  Handlers handlers_;
  bool watched_ = false;
  bool armed_ = false;
  std::optional<QString> cursor_ = QStringLiteral("left_ptr");
};

}  // namespace vantora::fakes
