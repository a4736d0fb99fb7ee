#pragma once

#include <QDateTime>
#include <QJsonArray>
#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

// Crash reports in the formats in which the systems store them. Pure functions, any thread.
namespace vantora::Diagnostics {

struct Crash {
  // The report; when it was not kept, the program, or the file in which it crashed according to the kernel.
  QString file;
  QString name;  // of the crashed program
  QDateTime time;
  qint64 pid = 0;  // 0: not known; in the kernel's lines the thread id
};

// "core.NAME.UID.BOOT.PID.MICROSECONDS", with or without a suffix for its compression; `folder` goes before it.
[[nodiscard]] std::optional<Crash> parseCoreFile(const QString& folder, const QString& fileName);
// The program an apport report is about: its "ExecutablePath:" line, else the end of the file's name.
[[nodiscard]] QString apportName(const QString& fileName, const QString& head);
// `coredumpctl list --json=short`, or its table with --no-legend.
[[nodiscard]] std::vector<Crash> parseCoredumpctl(const QString& text);

// The kernel's messages about programs that it ended, as `journalctl -o short-unix` prints them: "NAME[PID]: segfault
// at ..." and "traps: NAME[PID] ... ip:...". Other lines are left out. Names and ids are those of the thread, and names
// are cut after fifteen characters by the kernel.
[[nodiscard]] std::vector<Crash> parseKernelCrashes(const QString& text);

// The newest first. A crash that several sources report within a minute appears once, with the file if one of them has
// it. A line of the kernel is matched by its id, else by its name.
[[nodiscard]] std::vector<Crash> mergedCrashes(const std::vector<Crash>& stored, const std::vector<Crash>& listed,
                                               const std::vector<Crash>& seenByKernel = {});
// The first five as {"file", "name", "time"}; the time is local, without a zone.
[[nodiscard]] QJsonArray recentCrashes(const std::vector<Crash>& newestFirst);
// The five most frequent names among the first fifty as {"name", "count"}; equal counts by name, backwards.
[[nodiscard]] QJsonArray repeatedCrashes(const std::vector<Crash>& newestFirst);

// Whether a kernel log that survived a crash reports a panic (an oops is not one).
[[nodiscard]] bool reportsPanic(const QString& kernelLog);

}  // namespace vantora::Diagnostics
