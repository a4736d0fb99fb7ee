// A cursor that is what the test says.
#pragma once

#include <utility>

#include "platform/SystemCursor.h"

namespace vantora::fakes {

// Keeps to the contract of SystemCursor: no notice and no cursor while nobody watches, one pointer notice for each
// arming.
class FakeSystemCursor final : public SystemCursor {
 public:
  void watch(Notices notices) override {
    notices_ = std::move(notices);
    watched_ = true;
    ++watches;
  }
  void unwatch() override {
    notices_ = {};
    watched_ = false;
    armed_ = false;
  }
  void armPointerNotice() override { armed_ = watched_; }
  std::optional<QString> currentCursor() override {
    ++looks;
    return watched_ ? cursor_ : std::nullopt;
  }

  // The desktop shows another cursor and says so; none: the desktop has gone.
  void show(std::optional<QString> cursor) {
    cursor_ = std::move(cursor);
    if (const auto notice = notices_.cursorChanged) notice();
  }
  // The same without a notice.
  void showQuietly(std::optional<QString> cursor) { cursor_ = std::move(cursor); }
  // The person at the desk moves or clicks. Whether a notice went out.
  bool usePointer() {
    if (!std::exchange(armed_, false)) return false;
    if (const auto notice = notices_.pointerUsed) notice();
    return true;
  }
  bool watched() const { return watched_; }
  bool armed() const { return armed_; }

  int watches = 0;
  int looks = 0;

 private:
  Notices notices_;
  bool watched_ = false;
  bool armed_ = false;
  std::optional<QString> cursor_ = QStringLiteral("left_ptr");
};

}  // namespace vantora::fakes
