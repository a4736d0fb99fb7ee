// Remembers displays, also those that were removed.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "platform/Displays.h"

namespace vantora {

class KnownDisplays {
 public:
  void add(const std::vector<Display>& displays) {
    // Monitors are few, but their ids may be new ones each time they are arranged.
    constexpr std::size_t kMax = 64;
    if (known_.size() + displays.size() > kMax) known_.clear();
    for (const Display& display : displays) known_[display.id] = display;
  }
  std::optional<Display> find(std::uint32_t id) const {
    const auto found = known_.find(id);
    return found == known_.end() ? std::nullopt : std::optional(found->second);
  }

 private:
  std::map<std::uint32_t, Display> known_;
};

}  // namespace vantora
