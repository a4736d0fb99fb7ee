// Finds the busiest processes without reading all of them every time.
#pragma once

#include <dirent.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "main/telemetry/system/linux/FileReader.h"
#include "main/telemetry/system/linux/ProcText.h"

namespace vantora {

// One process, as last read.
struct ProcessRow {
  qint32 pid = 0;
  std::string name;  // from the kernel
  // Reading its command line or its environment may block for as long as the process waits.
  bool uninterruptible = false;
  quint64 startTicks = 0;
  quint64 cpuTicks = 0;
  quint64 rssPages = 0;
  double sampledAt = 0;  // seconds
  double share = 0;      // of one processor, in percent, between its last two samples
};

// Samples the processes repeatedly. Reading one from the kernel costs some microseconds, which is noticeable with
// thousands. So while there are many, only new and recently busy ones are read, and a part of the rest in turn; all of
// them when processes used time that those do not account for. Thread: one worker. Owner: LinuxFigures.
class ProcessTable {
 public:
  // Up to this many processes, all are read each time.
  static constexpr std::size_t kFew = 300;
  // With more processes, this many of the quiet ones are read each time.
  static constexpr std::size_t kInTurn = 64;
  // Quiet samples after which a process no longer counts as busy.
  static constexpr int kQuietSamples = 3;
  // Time used by unknown processes that causes a full sample (of all processes), as a share of one processor.
  static constexpr double kUnexplainedPercent = 5;
  // Seconds without a full sample after one. Short-lived processes cause such time continuously: each full sample that
  // finds less than half of it doubles the pause, up to the longest.
  static constexpr double kShortestPause = 3;
  static constexpr double kLongestPause = 24;

  // `folder` is "/proc" or a recorded one; `ticksPerSecond` the unit of the kernel's counts.
  ProcessTable(const std::string& folder, double ticksPerSecond);
  ~ProcessTable();
  ProcessTable(const ProcessTable&) = delete;
  ProcessTable& operator=(const ProcessTable&) = delete;

  // Takes a sample. `now` is in seconds and never decreases; `processTicks` is the time all processes together used
  // since the last sample. With `all`, every process is read.
  void sample(double now, double processTicks, bool all);

  // The `count` busiest, busiest first; among equal ones those with more memory first, then those with lower ids. Their
  // figures are current: reads those that sample() left out.
  [[nodiscard]] std::vector<ProcessRow> busiest(std::size_t count, double now);

  // The number of processes, and how many of them were read since the last sample() began.
  [[nodiscard]] std::size_t size() const { return rows_.size(); }
  [[nodiscard]] std::size_t readCount() const { return readCount_; }
  // Forgets all processes.
  void clear() { rows_.clear(); }

 private:
  struct Entry {
    ProcessRow row;
    quint64 ticks = 0;       // used between the last two samples
    int quiet = 0;           // samples in a row without any
    bool refreshed = false;  // in this round
    quint64 round = 0;       // the last one in which it was in the list
  };

  void list();
  // Reads one process. False when it is gone.
  bool refresh(Entry& entry, double now);
  // The same for an id not read yet in this round; null when it was already read or is gone.
  const Entry* refreshOne(qint32 pid, double now);
  // Reads those not read yet in this round; returns the ticks they used since their last samples.
  double refreshAll(double now);

  DIR* folder_;
  const double ticksPerSecond_;
  FileReader reader_;
  std::unordered_map<qint32, Entry> rows_;
  std::vector<qint32> pids_;  // of the last listing
  std::size_t turn_ = 0;      // where the next part of the quiet ones begins
  double lastFullSample_ = 0;
  double pause_ = kShortestPause;
  int quietAtFirst_ = 0;
  double lastSample_ = 0;
  quint64 round_ = 0;
  std::size_t readCount_ = 0;
};

}  // namespace vantora
