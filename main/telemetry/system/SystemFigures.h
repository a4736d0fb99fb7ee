// The load of the machine for the viewer, as values.
#pragma once

#include <QString>
#include <optional>
#include <vector>

#include "base/Json.h"

namespace vantora {

struct MemoryFigures {
  quint64 totalBytes = 0;
  quint64 usedBytes = 0;
  bool operator==(const MemoryFigures&) const = default;
};

// The root volume.
struct DiskFigures {
  double usedPct = 0;
  quint64 totalBytes = 0;
  quint64 usedBytes = 0;
  bool operator==(const DiskFigures&) const = default;
};

// Bytes counted since the machine started, all interfaces together.
struct NetworkTotals {
  quint64 rxBytes = 0;
  quint64 txBytes = 0;
  bool operator==(const NetworkTotals&) const = default;
};

struct NetworkRates {
  double rxKbps = 0;
  double txKbps = 0;
  bool operator==(const NetworkRates&) const = default;
};

// An application that the desktop knows. Any text may be empty.
struct RunningApplication {
  QString localizedName;
  QString executable;  // full path
  QString bundle;      // full path
  bool operator==(const RunningApplication&) const = default;
};

struct ProcessFigures {
  qint32 pid = 0;
  QString name;
  quint64 rssBytes = 0;
  double cpuPct = 0;  // of one processor
  std::optional<RunningApplication> application;
  bool operator==(const ProcessFigures&) const = default;
};

// A figure that is not available is empty. Plain values, any thread.
struct SystemFigures {
  std::optional<double> cpuPct;  // of all processors, 0 to 100
  std::optional<MemoryFigures> memory;
  std::optional<DiskFigures> disk;
  std::optional<NetworkRates> network;
  std::vector<ProcessFigures> top;  // busiest first
};

// The "sys" object of "host_stats": empty values are left out. Always valid JSON: numbers that are not finite are left
// out, counts beyond 63 bits become the maximum of 63 bits. Pure.
[[nodiscard]] JsonObject toJson(const SystemFigures& figures);

}  // namespace vantora
