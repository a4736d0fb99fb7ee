#include "main/video/sdp/BitrateHints.h"

#include <algorithm>

namespace vantora {
namespace {

constexpr int kLowestMaxKbps = 500;
constexpr int kLowestDerivedKbps = 200;

int shareOf(int maxKbps, double share) { return std::max(static_cast<int>(maxKbps * share), kLowestDerivedKbps); }

}  // namespace

BitrateHints bitrateHints(int lastMaxKbps, std::optional<int> minOverride, std::optional<int> startOverride,
                          std::optional<int> maxOverride) {
  BitrateHints hints;
  hints.maxKbps = std::max(maxOverride.value_or(lastMaxKbps), kLowestMaxKbps);
  hints.minKbps = minOverride.value_or(shareOf(hints.maxKbps, 0.7));
  hints.startKbps = startOverride.value_or(shareOf(hints.maxKbps, 0.85));
  return hints;
}

}  // namespace vantora
