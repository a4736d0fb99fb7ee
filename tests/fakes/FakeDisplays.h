// Displays whose layout the test sets.
#pragma once

#include <utility>
#include <vector>

#include "platform/Displays.h"

namespace vantora::fakes {

class FakeDisplays final : public Displays {
 public:
  FakeDisplays() = default;
  explicit FakeDisplays(std::vector<Display> displays) : displays_(std::move(displays)) {}

  std::vector<Display> list() override { return displays_; }
  void setChangedHandler(std::function<void()> handler) override { changed_ = std::move(handler); }
  // Sets the displays. Empty: the display server is gone.
  void set(std::vector<Display> displays) {
    if (std::exchange(displays_, std::move(displays)) != displays_ && changed_) changed_();
  }

 private:
  std::function<void()> changed_;
  std::vector<Display> displays_;
};

}  // namespace vantora::fakes
