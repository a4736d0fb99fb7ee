#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QString>
#include <optional>
#include <vector>

// Processes. Pure functions, any thread.
namespace vantora::Diagnostics {

// What /proc/PID/stat says of one process.
struct ProcStat {
  qint64 pid = 0;
  // Waits for a disk or a server and takes no signal meanwhile. Whoever asks for its memory (where its command line and
  // its environment are) may have to wait as well.
  bool uninterruptible = false;
  QByteArray name;  // at most fifteen bytes; may hold anything, blanks, parentheses and line ends included
  qint64 cpuTicks = 0;
  qint64 startTicks = 0;  // since the machine started
  qint64 rssPages = 0;
};
[[nodiscard]] std::optional<ProcStat> parseProcStat(const QByteArray& bytes);

// Whether the kernel may have cut this name off.
[[nodiscard]] bool mayBeCut(const QByteArray& kernelName);

// A process's whole name: the kernel's, or where that is cut off, the program's name in its command line if it begins
// the same way. Bytes that are not UTF-8 become replacement characters.
[[nodiscard]] QString processName(const QByteArray& kernelName, const QByteArray& commandLine);

// One process with its figures worked out.
struct ProcessFigures {
  qint64 pid = 0;
  double cpuPct = 0;
  double memPct = 0;
  qint64 rssKB = 0;
};
// The five with most processor time for their age and with most memory; equal ones by their ids.
[[nodiscard]] std::vector<ProcessFigures> topByCpu(std::vector<ProcessFigures> all);
[[nodiscard]] std::vector<ProcessFigures> topByMemory(std::vector<ProcessFigures> all);

}  // namespace vantora::Diagnostics
