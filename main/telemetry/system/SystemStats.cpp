#include "main/telemetry/system/SystemStats.h"

namespace vantora {

bool SystemStats::isOlder(const std::optional<Time>& at, std::chrono::milliseconds age) const {
  return !at || scheduler_.monotonicNow() - *at >= age;
}

std::optional<JsonObject> SystemStats::getSystemStats() {
  if (!collect_) return std::nullopt;
  if (lastSysStats_.isEmpty() || isOlder(lastSysAt_, kLifetime)) {
    if (!isOlder(nextAt_, kTooOld)) {
      lastSysStats_ = next_;
      lastSysAt_ = scheduler_.monotonicNow();
    } else if (isOlder(lastSysAt_, kTooOld)) {
      lastSysStats_ = {};
    }
    nextAt_.reset();
  }
  if (lastSysStats_.isEmpty() || isOlder(lastSysAt_, kLifetime - kAhead)) startCollecting();
  return lastSysStats_;
}

void SystemStats::prepare() {
  if (!collect_ || !isOlder(nextAt_, kLifetime) || !isOlder(lastSysAt_, kLifetime)) return;
  // Figures that were prepared long ago and never requested are replaced.
  nextAt_.reset();
  startCollecting();
}

void SystemStats::pause() {
  task_.reset();
  nextAt_.reset();
}

void SystemStats::startCollecting() {
  if (task_ || nextAt_) return;
  task_ = collect_([this](const JsonObject& figures) {
    task_.reset();
    next_ = figures;
    nextAt_ = scheduler_.monotonicNow();
  });
}

}  // namespace vantora
