// The busiest processes, found without looking at all of them every time.
#pragma once

#include <dirent.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "main/telemetry/system/linux/FileReader.h"
#include "main/telemetry/system/linux/ProcText.h"

namespace vantora {

// One process, as last looked at.
struct ProcessRow {
  qint32 pid = 0;
  std::string name;  // as the kernel has it
  // Whoever asks for its command line or its environment may have to wait as long as it does.
  bool uninterruptible = false;
  quint64 startTicks = 0;
  quint64 cpuTicks = 0;
  quint64 rssPages = 0;
  double lookedAt = 0;  // seconds
  double share = 0;     // of one processor, in percent, between the last two looks
};

// Looks at processes again and again. Asking the kernel about one costs some microseconds, which thousands would make
// noticeable. So while there are many, only those are looked at that are new or were busy lately, and a part of the
// rest in turn; all of them when processes used time that those do not account for. Thread: one worker. Owner:
// LinuxFigures.
class ProcessTable {
 public:
  // Up to this many processes, all are looked at each time.
  static constexpr std::size_t kFew = 300;
  // Of the quiet ones of many, this many are looked at each time.
  static constexpr std::size_t kInTurn = 64;
  // Quiet looks after which a process no longer counts as busy.
  static constexpr int kQuietLooks = 3;
  // Time used by unknown processes that makes for a look at all of them, as a share of one processor.
  static constexpr double kUnexplainedPercent = 5;
  // How long there is none after one. Short-lived processes leave such time behind all the time: each look that finds
  // less than half of it doubles the pause, up to the longest.
  static constexpr double kShortestPause = 3;
  static constexpr double kLongestPause = 24;

  // `folder` is "/proc" or a recorded one; `ticksPerSecond` what the kernel counts in.
  ProcessTable(const std::string& folder, double ticksPerSecond);
  ~ProcessTable();
  ProcessTable(const ProcessTable&) = delete;
  ProcessTable& operator=(const ProcessTable&) = delete;

  // Looks again. `now` is in seconds and never goes back; `processTicks` is the time all processes together used since
  // the last look. With `all`, every process is looked at.
  void look(double now, double processTicks, bool all);

  // The `count` busiest, busiest first; among equal ones the bigger ones in memory, then the older ids. Their figures
  // are of this moment. Looks at those again that look() left out.
  [[nodiscard]] std::vector<ProcessRow> busiest(std::size_t count, double now);

  // How many processes there are, and how many the last look() looked at.
  [[nodiscard]] std::size_t size() const { return rows_.size(); }
  [[nodiscard]] std::size_t looks() const { return looks_; }
  // Forgets all processes.
  void clear() { rows_.clear(); }

 private:
  struct Entry {
    ProcessRow row;
    quint64 ticks = 0;    // used between the last two looks
    int quiet = 0;        // looks in a row without any
    bool looked = false;  // in this round
    quint64 round = 0;    // the last one in which it was in the list
  };

  void list();
  // Looks at one process. False when it is gone.
  bool refresh(Entry& entry, double now);
  // The same for an id not looked at yet in this round; null when there is nothing to be told.
  const Entry* refreshOne(qint32 pid, double now);
  // Looks at those not looked at yet in this round; gives the ticks they used since their last looks.
  double refreshAll(double now);

  DIR* folder_;
  const double ticksPerSecond_;
  FileReader reader_;
  std::unordered_map<qint32, Entry> rows_;
  std::vector<qint32> pids_;  // of the last listing
  std::size_t turn_ = 0;      // where the next part of the quiet ones begins
  double lastFullLook_ = 0;
  double pause_ = kShortestPause;
  int quietAtFirst_ = 0;
  double lastLook_ = 0;
  quint64 round_ = 0;
  std::size_t looks_ = 0;
};

}  // namespace vantora
