// The three bit-rate hints that an offer carries.
//
// Pure, without state. Thread: any.
#pragma once

#include <optional>

namespace vantora {

// In kbit/s.
struct BitrateHints {
  int minKbps = 0;
  int startKbps = 0;
  int maxKbps = 0;
  bool operator==(const BitrateHints&) const = default;
};

// Hints from the session's current maximum and the configured overrides. The maximum is at least 500, even if
// overridden; minimum and start are derived from it (70 and 85 percent, at least 200), while their overrides are used
// unchanged.
[[nodiscard]] BitrateHints bitrateHints(int lastMaxKbps, std::optional<int> minOverride,
                                        std::optional<int> startOverride, std::optional<int> maxOverride);

}  // namespace vantora
