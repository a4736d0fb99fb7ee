// How figures of the machine are worked out, whatever they come from.
#pragma once

#include <algorithm>
#include <optional>

#include "main/telemetry/system/SystemFigures.h"

namespace vantora {

// A load as it is shown: 0 to 100. Pure.
[[nodiscard]] inline double clampedPercent(double percent) { return std::clamp(percent, 0.0, 100.0); }

// The name shown for a process: the application's own, else its executable's, else what the process tool or the kernel
// calls it; of a name with a slash in it what follows the last one. Pure.
[[nodiscard]] QString shownName(const QString& command, const std::optional<RunningApplication>& application);

// Network rates from counters that are looked at again and again.
class NetworkMeter {
 public:
  // The rates since the sample before, in kilobits a second; none for the first sample. `now` is in seconds, of any
  // clock that is not 0; less than a millisecond between samples counts as one. The counters may wrap around at 64
  // bits; one that went down for another reason gives a huge rate, which is what it is known to do.
  [[nodiscard]] std::optional<NetworkRates> sample(const NetworkTotals& totals, double now);

 private:
  quint64 lastNetRx_ = 0;
  quint64 lastNetTx_ = 0;
  double lastNetTs_ = 0;
};

}  // namespace vantora
