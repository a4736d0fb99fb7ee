#include <QFileInfo>

#include "Diagnostics/linux/LinuxCollectors.h"
#include "Diagnostics/text/CrashText.h"
#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics::onLinux {
using namespace Qt::Literals::StringLiterals;

namespace {

constexpr qsizetype kMaxPanics = 20;
const QString kCores = u"/var/lib/systemd/coredump"_s;
const QString kReports = u"/var/crash"_s;
// A report's interesting lines stand at its beginning; the rest is the memory of the program.
constexpr qint64 kReportHead = 1 << 14;

std::vector<Crash> storedCrashes(const Probe& probe) {
  std::vector<Crash> result;
  for (const QString& name : probe.names(kCores, u"core.*"_s)) {
    if (const auto crash = parseCoreFile(kCores, name)) result.push_back(*crash);
  }
  for (const QString& name : probe.names(kReports, u"*.crash"_s)) {
    const QString path = kReports + u'/' + name;
    const QString program = apportName(name, probe.text(path, kReportHead));
    result.push_back({path, program, QFileInfo(probe.under(path)).lastModified(), 0});
  }
  return result;
}

std::vector<Crash> listedCrashes(const Probe& probe) {
  const QString tool = probe.tool(u"coredumpctl"_s);
  if (tool.isEmpty()) return {};
  const QString list = tool + " list --no-pager --no-legend -r -n 50"_L1;
  const QString json = probe.plain(list + " --json=short 2>/dev/null"_L1);
  // Versions before 249 do not support JSON.
  return parseCoredumpctl(json.isEmpty() ? probe.plain(list + " 2>/dev/null"_L1) : json);
}

// Logs that the firmware preserved over a panic, and those that systemd has archived.
qsizetype panicsInFirmware(const Probe& probe) {
  const QString firmware = u"/sys/fs/pstore"_s;
  const QString archive = u"/var/lib/systemd/pstore"_s;
  qsizetype count = 0;
  for (const QString& name : probe.names(firmware, u"dmesg-*"_s)) {
    count += reportsPanic(probe.text(firmware + u'/' + name)) ? 1 : 0;
  }
  for (const QString& name : probe.names(archive)) {
    const QString log = archive + u'/' + name;
    count += reportsPanic(probe.text(log)) || reportsPanic(probe.text(log + "/dmesg.txt"_L1)) ? 1 : 0;
  }
  return count;
}

// Crash dumps of the kernel: one folder each, named after the time.
qsizetype kernelDumps(const Probe& probe) {
  qsizetype count = 0;
  for (const QString& name : probe.names(kReports)) {
    const QString folder = kReports + u'/' + name;
    const bool isDump = leadingInteger(name) || name.startsWith("127.0.0.1-"_L1);
    if (isDump && !(probe.names(folder, u"dmesg*"_s) + probe.names(folder, u"vmcore*"_s)).isEmpty()) ++count;
  }
  return count;
}

// Whether there is a journal: files, each in a folder named after the machine's id.
bool hasJournal(const Probe& probe) {
  for (const QString& place : {u"/var/log/journal"_s, u"/run/log/journal"_s}) {
    for (const QString& name : probe.names(place)) {
      if (!probe.names(place + u'/' + name, u"*.journal*"_s).isEmpty()) return true;
    }
  }
  return false;
}

// The kernel's messages about crashed programs in the journal of the last 30 days; empty when they cannot be read:
// there is no journal, it is too long for the time limit, or only administrators and the groups "adm" and
// "systemd-journal" may read the kernel's messages.
std::optional<std::vector<Crash>> crashesInJournal(const Probe& probe) {
  const QString tool = probe.tool(u"journalctl"_s);
  if (tool.isEmpty() || !hasJournal(probe)) return {};
  const QString system = tool + " -q --no-pager --system "_L1;
  QStringList lines =
      trimmedLines(probe.plain(
          system + "-o short-unix -n 100 --since=-30d --grep='segfault at |^traps: ' _TRANSPORT=kernel 2>/dev/null"
                   "; echo end"_L1));
  // The result of a search that was cut off is incomplete.
  if (lines.isEmpty() || lines.takeLast() != "end"_L1) return {};
  // Without lines, the journal either has no crashes or cannot be read.
  if (lines.isEmpty() && probe.plain(system + "-o cat -n 1 2>/dev/null"_L1).isEmpty()) return {};
  return parseKernelCrashes(lines.join(u'\n'));
}

// Whether a service on this machine stores crash reports. The folder of apport's reports alone is no evidence: dumps of
// the kernel are stored there, too.
bool keepsReports(const Probe& probe) {
  return !probe.names(kCores).isEmpty() || !probe.names(kReports, u"*.crash"_s).isEmpty() ||
         probe.exists(u"/usr/share/apport/apport"_s) || !probe.tool(u"coredumpctl"_s).isEmpty();
}

qsizetype panicsInJournal(const Probe& probe) {
  const QString tool = probe.tool(u"journalctl"_s);
  if (tool.isEmpty() || !hasJournal(probe)) return 0;
  // From all boots of the machine, not only the current one, which cannot contain a panic.
  return trimmedLines(probe.plain(tool + " -q --no-pager -o cat -n 20 --since=-30d "
                                         "--grep='Kernel panic - not syncing' _TRANSPORT=kernel 2>/dev/null"_L1))
      .size();
}

}  // namespace

QJsonObject crashes(const Probe& probe) {
  const auto seenByKernel = crashesInJournal(probe);
  // Without any source, empty lists would mean that there were no crashes.
  if (!seenByKernel && !keepsReports(probe)) return {};
  const std::vector<Crash> all =
      mergedCrashes(storedCrashes(probe), listedCrashes(probe), seenByKernel.value_or(std::vector<Crash>()));
  return {{u"recent"_s, recentCrashes(all)}, {u"repeat"_s, repeatedCrashes(all)}};
}

QJsonObject kernelPanics(const Probe& probe) {
  // The sources report the same panics: the highest count is taken.
  const qsizetype count = qMax(qMax(panicsInFirmware(probe), kernelDumps(probe)), panicsInJournal(probe));
  return {{u"kernelPanics"_s, qMin(count, kMaxPanics)}};
}

}  // namespace vantora::Diagnostics::onLinux
