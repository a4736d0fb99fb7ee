// Parses the kernel's text files in /proc.
#pragma once

#include <optional>
#include <string_view>

#include "main/telemetry/system/SystemFigures.h"

namespace vantora::proctext {

// All pure, without allocations; empty when the text cannot be parsed.

// Processor time of the whole machine, in clock ticks since it started.
struct CpuTicks {
  quint64 total = 0;
  quint64 idle = 0;       // idle, or waiting for a disk
  quint64 processes = 0;  // spent in processes; the rest of the busy time goes to interrupts and other virtual machines
};
[[nodiscard]] std::optional<CpuTicks> parseStat(std::string_view text);

// The share of the time between two samples that was not idle, 0 to 100; empty when no time passed.
[[nodiscard]] std::optional<double> cpuPercent(const CpuTicks& before, const CpuTicks& after);

// Total memory, and the part that is not free.
[[nodiscard]] std::optional<MemoryFigures> parseMeminfo(std::string_view text);

// The counters of all interfaces but the loopback one; the sum wraps around at 64 bits.
[[nodiscard]] std::optional<NetworkTotals> parseNetDev(std::string_view text);

// Fields of /proc/PID/stat.
struct ProcessStat {
  qint32 pid = 0;
  bool uninterruptible = false;  // waits for a disk or a server and handles no signals meanwhile
  std::string_view name;         // from the kernel: at most 15 bytes, any bytes
  quint64 cpuTicks = 0;          // user and system time
  quint64 startTicks = 0;
  quint64 rssPages = 0;
};
[[nodiscard]] std::optional<ProcessStat> parseProcessStat(std::string_view text);

}  // namespace vantora::proctext
