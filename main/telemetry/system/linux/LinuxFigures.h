// Figures of the machine from the kernel's own files.
#pragma once

#include <sys/statvfs.h>

#include <chrono>
#include <functional>
#include <stop_token>

#include "main/telemetry/system/FigureRules.h"
#include "main/telemetry/system/SystemFigures.h"
#include "main/telemetry/system/linux/DesktopEntries.h"
#include "main/telemetry/system/linux/ProcessTable.h"
#include "main/telemetry/system/linux/RunningApplications.h"

namespace vantora {

// The root volume's figures, counted and rounded as "df" does. Empty for a volume without blocks. Pure.
[[nodiscard]] std::optional<DiskFigures> diskFigures(const struct statvfs& volume);

// Loads cover the time since the previous collection; the first one, and one after a pause, waits between two samples.
// Starts no process. Thread: one worker at a time. Owner: machineStatistics().
class LinuxFigures {
 public:
  // How many processes are listed.
  static constexpr std::size_t kTop = 11;
  // Time between the two samples of the first collection.
  static constexpr std::chrono::milliseconds kFirstInterval{200};
  // Seconds. After a longer pause, the average load over the whole pause would not be useful.
  static constexpr double kLongestInterval = 5;

  // Where the figures come from; the defaults are this machine.
  struct Sources {
    std::string proc = "/proc";
    std::string rootVolume = "/";
    double ticksPerSecond = 100;
    quint64 pageBytes = 4096;
    // Monotonic, in seconds, never 0.
    std::function<double()> nowSeconds;
    // Waits; false when stopped meanwhile.
    std::function<bool(const std::stop_token&, std::chrono::milliseconds)> pause;
    DesktopEntries::Places applications;

    static Sources ofThisMachine();
  };
  explicit LinuxFigures(Sources sources);
  ~LinuxFigures();
  LinuxFigures(const LinuxFigures&) = delete;
  LinuxFigures& operator=(const LinuxFigures&) = delete;

  // Blocks for at most kFirstInterval, plus the time of the kernel's reads. Empty when stopped.
  [[nodiscard]] SystemFigures collect(const std::stop_token& stop);

 private:
  [[nodiscard]] std::optional<proctext::CpuTicks> readTicks();
  [[nodiscard]] std::vector<ProcessFigures> top(double now);

  const Sources sources_;
  const int proc_;
  FileReader reader_;
  ProcessTable processes_;
  RunningApplications applications_;
  NetworkMeter network_;
  std::optional<proctext::CpuTicks> lastTicks_;
  std::optional<double> lastAt_;
};

}  // namespace vantora
