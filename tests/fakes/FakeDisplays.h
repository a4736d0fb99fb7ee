// Displays whose layout the test sets.
#pragma once

#include <utility>
#include <vector>

#include "platform/KnownDisplays.h"

namespace vantora::fakes {

class FakeDisplays final : public Displays {
 public:
  FakeDisplays() = default;
  explicit FakeDisplays(std::vector<Display> displays) { set(std::move(displays)); }

  std::vector<Display> list() override { return displays_; }
  std::optional<Display> find(std::uint32_t id) override { return known_.find(id); }
  void setChangedHandler(std::function<void()> handler) override { changed_ = std::move(handler); }
  // Sets the displays. Empty: the display server is gone.
  void set(std::vector<Display> displays) {
    known_.add(displays);
    if (std::exchange(displays_, std::move(displays)) != displays_ && changed_) changed_();
  }

 private:
  std::function<void()> changed_;
  std::vector<Display> displays_;
  KnownDisplays known_;
};

}  // namespace vantora::fakes
