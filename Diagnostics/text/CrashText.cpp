#include "Diagnostics/text/CrashText.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QRegularExpression>
#include <algorithm>
#include <cstdlib>

#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

namespace {

constexpr qsizetype kRecent = 5;
constexpr qsizetype kCounted = 50;
constexpr qsizetype kRepeated = 5;

QDateTime fromMicroseconds(qint64 microseconds) { return QDateTime::fromMSecsSinceEpoch(microseconds / 1000); }

std::vector<Crash> parseCoredumpctlTable(const QString& text) {
  std::vector<Crash> result;
  for (const QString& line : trimmedLines(text)) {
    // Weekday, date, time, zone, pid, uid, gid, signal, core file, executable, size.
    const QStringList fields = words(line);
    if (fields.size() < 10) continue;
    const QDateTime time = QDateTime::fromString(fields[1] + u' ' + fields[2], u"yyyy-MM-dd HH:mm:ss"_s);
    const std::optional<qint64> pid = toInteger(fields[4]);
    if (!time.isValid() || !pid) continue;
    // The path may hold blanks, and the size is missing in older versions.
    QString path = fields.mid(9).join(u' ');
    const QString& last = fields.last();
    const bool hasSize = fields.size() > 10 && !last.contains(u'/') && (last == "-"_L1 || last[0].isDigit());
    if (hasSize) path.chop(last.size() + 1);
    result.push_back({path, lastPathComponent(path), time, *pid});
  }
  return result;
}

qint64 secondsBetween(const Crash& a, const Crash& b) { return std::abs(a.time.secsTo(b.time)); }

// The sources record the time when they have finished, which is later for a large core.
bool areClose(const Crash& a, const Crash& b) {
  constexpr qint64 kToleranceSeconds = 60;
  return secondsBetween(a, b) <= kToleranceSeconds;
}

bool isSame(const Crash& a, const Crash& b) { return a.pid > 0 && a.pid == b.pid && areClose(a, b); }

// A crash as the files and the core service report it.
struct Filed {
  Crash crash;
  // The name in a core file's name, which is a thread's like the kernel's; else the program's.
  QString threadName;
  bool paired = false;  // with a line of the kernel
};

// The kernel names a thread: neither its id nor its name need be the program's.
bool mayBeThread(const Crash& thread, const Filed& filed) {
  constexpr qsizetype kKernelNameLength = 15;
  const QString name = thread.name.left(kKernelNameLength);
  return areClose(thread, filed.crash) &&
         (filed.crash.name.left(kKernelNameLength) == name || filed.threadName.left(kKernelNameLength) == name);
}

// The lines of the kernel that match no crash of `filed`. Each crash matches one line only: a program may crash again.
std::vector<Crash> unpaired(std::vector<Filed>& filed, const std::vector<Crash>& seenByKernel) {
  std::vector<Crash> lines;
  for (const Crash& line : seenByKernel) {
    if (std::none_of(lines.begin(), lines.end(), [&](const Crash& other) { return isSame(line, other); })) {
      lines.push_back(line);
    }
  }
  // The id is the better evidence: ids are matched before names.
  std::erase_if(lines, [&](const Crash& line) {
    const auto match = std::find_if(filed.begin(), filed.end(),
                                    [&](const Filed& each) { return !each.paired && isSame(line, each.crash); });
    if (match == filed.end()) return false;
    match->paired = true;
    return true;
  });
  std::erase_if(lines, [&](const Crash& line) {
    Filed* nearest = nullptr;
    for (Filed& each : filed) {
      if (each.paired || !mayBeThread(line, each)) continue;
      if (!nearest || secondsBetween(line, each.crash) < secondsBetween(line, nearest->crash)) nearest = &each;
    }
    if (!nearest) return false;
    nearest->paired = true;
    return true;
  });
  return lines;
}

}  // namespace

std::optional<Crash> parseCoreFile(const QString& folder, const QString& fileName) {
  // The program's name is written with its own dots escaped.
  const QStringList fields = fileName.split(u'.');
  if (fields.size() < 6 || fields[0] != "core"_L1 || fields[1].isEmpty()) return std::nullopt;
  const std::optional<qint64> pid = toInteger(fields[4]);
  const std::optional<qint64> time = toInteger(fields[5]);
  if (!pid || !time || *pid <= 0 || *time <= 0) return std::nullopt;
  return Crash{folder + u'/' + fileName, unescaped(fields[1]), fromMicroseconds(*time), *pid};
}

QString apportName(const QString& fileName, const QString& head) {
  for (const QString& line : trimmedLines(head)) {
    if (!line.startsWith("ExecutablePath:"_L1)) continue;
    QString name = lastPathComponent(line.mid(15).trimmed());
    if (!name.isEmpty()) return name;
  }
  // "_usr_bin_name.1000.crash": slashes became underscores.
  QString name = fileName;
  if (name.endsWith(".crash"_L1)) name.chop(6);
  const qsizetype dot = name.lastIndexOf(u'.');
  if (dot > 0 && toInteger(name.mid(dot + 1))) name.truncate(dot);
  return name.mid(name.lastIndexOf(u'_') + 1);
}

std::vector<Crash> parseCoredumpctl(const QString& text) {
  if (!text.startsWith(u'[')) return parseCoredumpctlTable(text);
  std::vector<Crash> result;
  for (const QJsonValue row : QJsonDocument::fromJson(text.toUtf8()).array()) {
    const QString path = row[u"exe"_s].toString();
    const qint64 time = row[u"time"_s].toInteger();
    if (path.isEmpty() || time <= 0) continue;
    result.push_back({path, lastPathComponent(path), fromMicroseconds(time), row[u"pid"_s].toInteger()});
  }
  return result;
}

std::vector<Crash> parseKernelCrashes(const QString& text) {
  // Time, host, "kernel:", the message.
  static const QRegularExpression line(u"^(\\d{1,12})\\.(\\d{1,6}) \\S+ kernel: (.*)$"_s);
  // A program chooses its name: it may contain blanks, brackets and text in the form of a message. The last match
  // counts.
  static const QRegularExpression message(
      u"^(?:(.+)\\[(\\d+)\\]: segfault at [0-9a-f]+ ip |traps: (.+)\\[(\\d+)\\] [a-z0-9 ]+ ip:[0-9a-f]+ )"_s);
  static const QRegularExpression place(u" in (\\S.*)\\[[0-9a-f]+(?:,[0-9a-f]+)?\\+[0-9a-f]+\\]"_s);
  std::vector<Crash> result;
  for (const QString& each : trimmedLines(text)) {
    const QRegularExpressionMatch parts = line.match(each);
    if (!parts.hasMatch()) continue;
    const QString said = parts.captured(3);
    const QRegularExpressionMatch crash = message.match(said);
    if (!crash.hasMatch()) continue;
    const int first = crash.hasCaptured(1) ? 1 : 3;
    const std::optional<qint64> pid = toInteger(crash.captured(first + 1));
    if (!pid) continue;
    const qint64 time =
        parts.captured(1).toLongLong() * 1'000'000 + parts.captured(2).leftJustified(6, u'0').toLongLong();
    const QString name = crash.captured(first);
    const QRegularExpressionMatch file = place.match(said, crash.capturedEnd(0));
    result.push_back({file.hasMatch() ? file.captured(1) : name, name, fromMicroseconds(time), *pid});
  }
  return result;
}

std::vector<Crash> mergedCrashes(const std::vector<Crash>& stored, const std::vector<Crash>& listed,
                                 const std::vector<Crash>& seenByKernel) {
  std::vector<Filed> filed;
  filed.reserve(stored.size() + listed.size());
  for (const Crash& crash : stored) filed.push_back({crash, crash.name});
  for (const Crash& crash : listed) {
    const auto known =
        std::find_if(filed.begin(), filed.end(), [&](const Filed& other) { return isSame(crash, other.crash); });
    if (known == filed.end()) {
      filed.push_back({crash, crash.name});
    } else {
      // The name in a core file's name is cut after fifteen characters.
      known->crash.name = crash.name;
    }
  }
  std::vector<Crash> result = unpaired(filed, seenByKernel);
  for (const Filed& each : filed) result.push_back(each.crash);
  std::stable_sort(result.begin(), result.end(), [](const Crash& a, const Crash& b) { return a.time > b.time; });
  return result;
}

QJsonArray recentCrashes(const std::vector<Crash>& newestFirst) {
  QJsonArray result;
  for (const Crash& crash : newestFirst) {
    if (result.size() >= kRecent) break;
    result.append(QJsonObject{{u"file"_s, crash.file},
                              {u"name"_s, crash.name},
                              {u"time"_s, crash.time.toLocalTime().toString(u"yyyy-MM-ddTHH:mm:ss"_s)}});
  }
  return result;
}

QJsonArray repeatedCrashes(const std::vector<Crash>& newestFirst) {
  QMap<QString, int> counts;
  for (qsizetype i = 0; i < qMin<qsizetype>(kCounted, static_cast<qsizetype>(newestFirst.size())); ++i) {
    ++counts[newestFirst[static_cast<size_t>(i)].name];
  }
  std::vector<std::pair<int, QString>> ranks;
  for (auto it = counts.cbegin(); it != counts.cend(); ++it) ranks.emplace_back(it.value(), it.key());
  std::sort(ranks.begin(), ranks.end(), std::greater<>());
  QJsonArray result;
  for (const auto& [count, name] : ranks) {
    if (result.size() >= kRepeated) break;
    result.append(QJsonObject{{u"name"_s, name}, {u"count"_s, count}});
  }
  return result;
}

bool reportsPanic(const QString& kernelLog) { return kernelLog.contains("Kernel panic - not syncing"_L1); }

}  // namespace vantora::Diagnostics
