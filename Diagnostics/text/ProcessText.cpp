#include "Diagnostics/text/ProcessText.h"

#include <QJsonObject>
#include <algorithm>
#include <tuple>

#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

namespace {

constexpr size_t kTop = 5;
// The kernel keeps this many bytes of a name.
constexpr qsizetype kKernelNameBytes = 15;

template <typename Key>
std::vector<ProcessFigures> topBy(std::vector<ProcessFigures> all, Key key) {
  const auto middle = all.begin() + static_cast<std::ptrdiff_t>(std::min(kTop, all.size()));
  std::partial_sort(all.begin(), middle, all.end(), [&](const ProcessFigures& a, const ProcessFigures& b) {
    return std::tuple(-key(a), a.pid) < std::tuple(-key(b), b.pid);
  });
  all.erase(middle, all.end());
  return all;
}

}  // namespace

std::optional<ProcStat> parseProcStat(const QByteArray& bytes) {
  const qsizetype open = bytes.indexOf('(');
  const qsizetype close = bytes.lastIndexOf(')');
  if (open < 0 || close < open) return std::nullopt;
  // After the name: state (field 3 of the whole), ..., utime 14, stime 15, ..., starttime 22, vsize, rss 24.
  const QList<QByteArray> fields = bytes.mid(close + 1).simplified().split(' ');
  if (fields.size() < 22) return std::nullopt;
  const auto field = [&](int number) { return fields[number - 3].toLongLong(); };
  ProcStat stat;
  stat.pid = bytes.left(open).trimmed().toLongLong();
  if (stat.pid <= 0) return std::nullopt;
  stat.uninterruptible = fields[0] == "D";
  stat.name = bytes.mid(open + 1, close - open - 1);
  stat.cpuTicks = field(14) + field(15);
  stat.startTicks = field(22);
  stat.rssPages = std::max<qint64>(0, field(24));
  return stat;
}

bool mayBeCut(const QByteArray& kernelName) { return kernelName.size() >= kKernelNameBytes; }

QString processName(const QByteArray& kernelName, const QByteArray& commandLine) {
  QByteArray name = kernelName;
  if (mayBeCut(kernelName)) {
    const QByteArray program = commandLine.left(commandLine.indexOf('\0'));
    const QByteArray last = program.mid(program.lastIndexOf('/') + 1);
    if (last.startsWith(kernelName)) name = last;
  }
  const QString text = QString::fromUtf8(name);
  // A path only where it begins like one: the kernel's own threads have names such as "kworker/0:1".
  return text.startsWith(u'/') ? lastPathComponent(text) : text;
}

std::vector<ProcessFigures> topByCpu(std::vector<ProcessFigures> all) {
  return topBy(std::move(all), [](const ProcessFigures& process) { return process.cpuPct; });
}

std::vector<ProcessFigures> topByMemory(std::vector<ProcessFigures> all) {
  return topBy(std::move(all), [](const ProcessFigures& process) { return process.rssKB; });
}

}  // namespace vantora::Diagnostics
