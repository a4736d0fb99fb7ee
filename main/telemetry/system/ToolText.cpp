#include "main/telemetry/system/ToolText.h"

#include <QStringList>
#include <cmath>
#include <limits>

#include "main/telemetry/system/FigureRules.h"

namespace vantora::tooltext {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr quint64 kUsualPageBytes = 4096;
constexpr quint64 kMaximum = std::numeric_limits<quint64>::max();

QStringList words(const QString& text) { return text.simplified().split(u' ', Qt::SkipEmptyParts); }

std::optional<double> toNumber(const QString& text) {
  bool ok = false;
  const double value = text.toDouble(&ok);
  return ok && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

// Accepts decimal digits only.
std::optional<quint64> toUnsigned(const QString& text) {
  for (const QChar c : text) {
    if (c < u'0' || c > u'9') return std::nullopt;
  }
  bool ok = false;
  const quint64 value = text.toULongLong(&ok);
  return ok ? std::optional(value) : std::nullopt;
}

std::optional<quint64> fromKiB(const QString& text) {
  const auto kib = toUnsigned(text);
  return kib && *kib <= kMaximum / 1024 ? std::optional(*kib * 1024) : std::nullopt;
}

quint64 pageBytes(const QString& text) {
  constexpr auto kBefore = "page size of "_L1;
  const qsizetype before = text.indexOf(kBefore);
  if (before < 0) return kUsualPageBytes;
  const qsizetype start = before + kBefore.size();
  const qsizetype end = text.indexOf(" bytes"_L1, start);
  if (end < 0) return kUsualPageBytes;
  return toUnsigned(text.mid(start, end - start)).value_or(kUsualPageBytes);
}

// The digits of the first line that holds `label`.
quint64 pages(const QString& text, QLatin1StringView label) {
  for (const QString& line : text.split(u'\n')) {
    if (!line.contains(label)) continue;
    QString digits;
    for (const QChar c : line) {
      if (c >= u'0' && c <= u'9') digits += c;
    }
    return toUnsigned(digits).value_or(0);
  }
  return 0;
}

}  // namespace

std::optional<double> parseCpuPercent(const QString& text, int processors) {
  const auto sum = toNumber(text.trimmed());
  if (!sum) return std::nullopt;
  return clampedPercent(*sum / std::max(processors, 1));
}

MemoryFigures parseMem(const QString& text, quint64 totalBytes) {
  const quint64 page = pageBytes(text);
  const quint64 free = pages(text, "Pages free"_L1);
  const quint64 speculative = pages(text, "Pages speculative"_L1);
  // Compared by division: the product of huge numbers would overflow.
  const quint64 maxPages = page > 0 ? totalBytes / page : kMaximum;
  const bool tooMany = free > maxPages || speculative > maxPages - free;
  return {totalBytes, tooMany ? 0 : totalBytes - (free + speculative) * page};
}

std::optional<DiskFigures> parseDisk(const QString& line) {
  const QStringList fields = words(line);
  if (fields.size() < 6) return std::nullopt;
  const auto total = fromKiB(fields[1]);
  const auto used = fromKiB(fields[2]);
  const auto percent = toNumber(QString(fields[4]).remove(u'%'));
  if (!total || !used || !percent) return std::nullopt;
  return DiskFigures{*percent, *total, *used};
}

std::optional<NetworkTotals> parseNetTotals(const QString& text) {
  const QStringList fields = words(text);
  if (fields.size() < 2) return std::nullopt;
  const auto rx = toUnsigned(fields[0]);
  const auto tx = toUnsigned(fields[1]);
  if (!rx || !tx) return std::nullopt;
  return NetworkTotals{*rx, *tx};
}

std::vector<ProcessFigures> parseTop(const QString& text, const ApplicationLookup& lookup) {
  constexpr qsizetype kFields = 4;
  std::vector<ProcessFigures> result;
  const QStringList lines = text.split(u'\n');
  for (const QString& line : lines.mid(1)) {
    const QStringList fields = words(line);
    if (fields.size() < kFields) continue;
    bool isPid = false;
    const qint32 pid = fields.first().toInt(&isPid);
    const auto resident = fromKiB(fields[fields.size() - 2]);
    if (!isPid || !resident) continue;
    ProcessFigures process;
    process.pid = pid;
    process.rssBytes = *resident;
    process.cpuPct = toNumber(fields.last()).value_or(0);
    if (lookup) process.application = lookup(pid);
    process.name = shownName(fields.mid(1, fields.size() - 3).join(u' '), process.application);
    result.push_back(std::move(process));
  }
  return result;
}

}  // namespace vantora::tooltext
