#include "main/telemetry/system/ToolFigures.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

const QString kCpuCommand = uR"(ps -A -o %cpu | awk 'NR>1 {s+=$1} END {print s}')"_s;
const QString kMemoryCommand = u"vm_stat"_s;
const QString kDiskCommand = u"df -k / | tail -n 1"_s;
// The pattern is always true, so that every row counts; the rates are defined as what this yields.
const QString kNetworkCommand = uR"(netstat -ibn | awk 'NR>1 && $1!"lo0" {rx+=$7; tx+=$10} END {print rx, tx}')"_s;
const QString kProcessesCommand = u"ps -Ao pid,comm,rss,pcpu -r | head -n 12"_s;

}  // namespace

SystemFigures ToolFigures::collect() {
  SystemFigures figures;
  figures.cpuPct = tooltext::parseCpuPercent(sources_.runShell(kCpuCommand), sources_.processors);
  figures.memory = tooltext::parseMem(sources_.runShell(kMemoryCommand), sources_.memoryBytes);
  figures.disk = tooltext::parseDisk(sources_.runShell(kDiskCommand));
  if (const auto totals = tooltext::parseNetTotals(sources_.runShell(kNetworkCommand))) {
    figures.network = network_.sample(*totals, sources_.nowSeconds());
  }
  figures.top = tooltext::parseTop(sources_.runShell(kProcessesCommand), sources_.runningApplication);
  return figures;
}

}  // namespace vantora
