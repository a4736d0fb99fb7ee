#include <unistd.h>

#include <QHash>
#include <QJsonArray>
#include <algorithm>

#include "Diagnostics/linux/LinuxCollectors.h"
#include "Diagnostics/text/ProcessText.h"
#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics::onLinux {
using namespace Qt::Literals::StringLiterals;

namespace {

QString folderOf(qint64 pid) { return "/proc/"_L1 + QString::number(pid); }

// Values of the machine that the figures of its processes are computed with.
struct Machine {
  double uptimeSeconds = 0;
  qint64 memoryKB = 0;
  double ticksPerSecond = static_cast<double>(sysconf(_SC_CLK_TCK));
  qint64 pageKB = sysconf(_SC_PAGESIZE) / 1024;
};

Machine machine(const Probe& probe) {
  Machine result;
  result.uptimeSeconds = toNumber(words(probe.text(u"/proc/uptime"_s)).value(0)).value_or(0);
  for (const QString& line : trimmedLines(probe.text(u"/proc/meminfo"_s))) {
    if (line.startsWith("MemTotal:"_L1)) result.memoryKB = leadingInteger(line.mid(9)).value_or(0);
  }
  return result;
}

ProcessFigures figures(const ProcStat& stat, const Machine& host) {
  ProcessFigures result;
  result.pid = stat.pid;
  result.rssKB = stat.rssPages * host.pageKB;
  // Processor time over the life of the process, as ps counts it.
  const double age = host.uptimeSeconds - static_cast<double>(stat.startTicks) / host.ticksPerSecond;
  const double busy = static_cast<double>(stat.cpuTicks) / host.ticksPerSecond;
  if (age > 0) result.cpuPct = roundedToTenth(std::max(0.0, busy / age * 100));
  if (host.memoryKB > 0) {
    result.memPct = roundedToTenth(static_cast<double>(result.rssKB) / static_cast<double>(host.memoryKB) * 100);
  }
  return result;
}

}  // namespace

QJsonObject processes(const Probe& probe) {
  const Machine host = machine(probe);
  std::vector<ProcessFigures> all;
  QHash<qint64, ProcStat> stats;
  for (const QString& name : probe.names(u"/proc"_s, u"[0-9]*"_s)) {
    const auto stat = parseProcStat(probe.bytes("/proc/"_L1 + name + "/stat"_L1));
    if (!stat) continue;
    all.push_back(figures(*stat, host));
    stats.insert(stat->pid, *stat);
  }
  const auto name = [&](qint64 pid) {
    const ProcStat stat = stats.value(pid);
    // Reading it may block: only where it is needed.
    const bool read = mayBeCut(stat.name) && !stat.uninterruptible;
    return processName(stat.name, read ? probe.bytes(folderOf(pid) + "/cmdline"_L1) : QByteArray());
  };
  QJsonArray byCpu;
  for (const ProcessFigures& process : topByCpu(all)) {
    byCpu.append(QJsonObject{{u"pid"_s, process.pid}, {u"cpuPct"_s, process.cpuPct}, {u"name"_s, name(process.pid)}});
  }
  QJsonArray byMemory;
  for (const ProcessFigures& process : topByMemory(all)) {
    byMemory.append(QJsonObject{{u"pid"_s, process.pid},
                                {u"memPct"_s, process.memPct},
                                {u"rssKB"_s, process.rssKB},
                                {u"name"_s, name(process.pid)}});
  }
  return {{u"topCPU"_s, byCpu}, {u"topMem"_s, byMemory}};
}

}  // namespace vantora::Diagnostics::onLinux
