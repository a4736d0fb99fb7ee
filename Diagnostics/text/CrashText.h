#pragma once

#include <QDateTime>
#include <QJsonArray>
#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

// Crash reports as the systems file them. Pure functions, any thread.
namespace vantora::Diagnostics {

struct Crash {
  // The report; where none was kept the program, or the file in which the kernel says that it crashed.
  QString file;
  QString name;  // of the crashed program
  QDateTime time;
  qint64 pid = 0;  // 0: not known; in the kernel's lines the thread's
};

// "core.NAME.UID.BOOT.PID.MICROSECONDS", with or without a suffix for its compression; `folder` goes before it.
[[nodiscard]] std::optional<Crash> parseCoreFile(const QString& folder, const QString& fileName);
// The program an apport report is about: its "ExecutablePath:" line, else the end of the file's name.
[[nodiscard]] QString apportName(const QString& fileName, const QString& head);
// `coredumpctl list --json=short`, or its table with --no-legend.
[[nodiscard]] std::vector<Crash> parseCoredumpctl(const QString& text);

// What the kernel says of programs that it ended, as `journalctl -o short-unix` prints it: "NAME[PID]: segfault at ..."
// and "traps: NAME[PID] ... ip:...". Other lines are left out. Names and ids are those
// of the thread, and names are cut after fifteen characters by the kernel.
[[nodiscard]] std::vector<Crash> parseKernelCrashes(const QString& text);

// The newest first; crashes told of by several sources within a minute once, with the file where one of them has it. A
// line of the kernel is known by its id, else by its name.
[[nodiscard]] std::vector<Crash> mergedCrashes(const std::vector<Crash>& stored, const std::vector<Crash>& listed,
                                               const std::vector<Crash>& seenByKernel = {});
// The first five as {"file", "name", "time"}; the time is local, without a zone.
[[nodiscard]] QJsonArray recentCrashes(const std::vector<Crash>& newestFirst);
// The five names that stand most often among the first fifty as {"name", "count"}; equal counts by name, backwards.
[[nodiscard]] QJsonArray repeatedCrashes(const std::vector<Crash>& newestFirst);

// Whether a kernel log that survived a crash tells of a panic (an oops is none).
[[nodiscard]] bool tellsOfPanic(const QString& kernelLog);

}  // namespace vantora::Diagnostics
