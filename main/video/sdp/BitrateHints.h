// The three bit-rate hints that an offer carries.
//
// Purpose: pure arithmetic. Thread: any. Owner: none, there is no state.
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

// Hints from the session's current maximum and the configured overrides. The maximum is at least 500,
// an overridden one too; minimum and start follow from it (70 and 85 percent, at least 200), while an
// override of theirs is taken as it is.
[[nodiscard]] BitrateHints bitrateHints(int lastMaxKbps, std::optional<int> minOverride,
                                        std::optional<int> startOverride, std::optional<int> maxOverride);

}  // namespace vantora
