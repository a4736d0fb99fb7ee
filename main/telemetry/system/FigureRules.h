// Rules for figures of the machine, independent of their source.
#pragma once

#include <algorithm>
#include <optional>

#include "main/telemetry/system/SystemFigures.h"

namespace vantora {

// A load clamped to 0 to 100. Pure.
[[nodiscard]] inline double clampedPercent(double percent) { return std::clamp(percent, 0.0, 100.0); }

// The name shown for a process: the application's, else the executable's, else the one from the process tool or the
// kernel; only the part after the last slash. Pure.
[[nodiscard]] QString shownName(const QString& command, const std::optional<RunningApplication>& application);

// Network rates from repeated samples of counters.
class NetworkMeter {
 public:
  // The rates since the previous sample, in kilobits per second; empty for the first sample. `now` is in seconds, of
  // any clock that is not 0; less than a millisecond between samples counts as one. The counters may wrap around at 64
  // bits; one that decreased for another reason gives a huge rate, which is the expected behaviour.
  [[nodiscard]] std::optional<NetworkRates> sample(const NetworkTotals& totals, double now);

 private:
  quint64 lastNetRx_ = 0;
  quint64 lastNetTx_ = 0;
  double lastNetTs_ = 0;
};

}  // namespace vantora
