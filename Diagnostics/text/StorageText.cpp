#include "Diagnostics/text/StorageText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QStringList>

#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

QString bytesPretty(qint64 kb) {
  constexpr double kMiB = 1024.0 * 1024;
  constexpr double kGiB = kMiB * 1024;
  constexpr double kTiB = kGiB * 1024;
  const double bytes = static_cast<double>(kb) * 1024;
  const auto pretty = [](double value, int decimals, QLatin1StringView unit) {
    return QString::number(value, 'f', decimals) + unit;
  };
  if (bytes >= kTiB) return pretty(bytes / kTiB, 1, " TB"_L1);
  if (bytes >= kGiB) return pretty(bytes / kGiB, 1, " GB"_L1);
  if (bytes >= kMiB) return pretty(bytes / kMiB, 1, " MB"_L1);
  return pretty(bytes / 1024, 0, " KB"_L1);
}

QJsonObject toJson(const Volume& volume) {
  QJsonObject result{
      {u"totalKB"_s, volume.totalKB},
      {u"usedKB"_s, volume.usedKB},
      {u"availKB"_s, volume.availKB},
      {u"totalPretty"_s, bytesPretty(volume.totalKB)},
      {u"usedPretty"_s, bytesPretty(volume.usedKB)},
      {u"freePretty"_s, bytesPretty(volume.availKB)},
  };
  if (volume.totalKB > 0) {
    result[u"freePct"_s] = static_cast<double>(volume.availKB) / static_cast<double>(volume.totalKB) * 100;
  }
  return result;
}

RootMount parseRootMount(const QString& mountInfo) {
  RootMount result;
  for (const QString& line : trimmedLines(mountInfo)) {
    // A number of optional fields ends in a lone dash.
    const QStringList fields = words(line);
    const qsizetype dash = fields.indexOf(u"-"_s, 6);
    if (fields.value(4) == "/"_L1 && dash > 0) result = {fields[2], fields.value(dash + 1), fields.value(dash + 2)};
  }
  return result;
}

qint64 installedKB(const QByteArray& dpkgStatus) {
  qint64 sum = 0;
  qint64 size = 0;
  bool installed = false;
  const auto endOfPackage = [&] {
    if (installed) sum += size;
    size = 0;
    installed = false;
  };
  for (const QByteArray& line : dpkgStatus.split('\n')) {
    if (line.isEmpty()) endOfPackage();
    if (line.startsWith("Status: ")) installed = line.endsWith(" installed");
    if (line.startsWith("Installed-Size: ")) size = qMax<qint64>(0, line.mid(16).trimmed().toLongLong());
  }
  endOfPackage();
  return sum;
}

int countBtrfsSnapshots(const QString& text) {
  int count = 0;
  for (const QString& line : trimmedLines(text)) count += line.startsWith("ID "_L1) ? 1 : 0;
  return count;
}

int countSnapperRows(const QString& csv) {
  int count = 0;
  for (const QString& line : trimmedLines(csv)) {
    const auto number = toInteger(line.section(u',', 0, 0));
    count += number && *number > 0 ? 1 : 0;
  }
  return count;
}

QString trackerStatus(const QString& text) {
  const QStringList lines = trimmedLines(text);
  return lines.isEmpty() ? QString() : lines.last();
}

QString balooStatus(const QString& text) { return trimmedLines(text).value(0); }

QString busPathElement(const QString& name) {
  QString result;
  for (const char byte : name.toUtf8()) {
    const bool plain = (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
    if (plain) {
      result += QLatin1Char(byte);
    } else {
      result += u'_' + QString::number(static_cast<unsigned char>(byte), 16).rightJustified(2, u'0');
    }
  }
  return result;
}

QString parseDrivePath(const QString& text) {
  // o "/org/freedesktop/UDisks2/drives/NAME"; a lone slash means "no drive".
  const QString path = text.section(u'"', 1, 1);
  return path.startsWith("/org/freedesktop/UDisks2/drives/"_L1) ? path : QString();
}

QString parseSmart(const QString& text) {
  const QJsonObject values = QJsonDocument::fromJson(text.toUtf8())[u"data"_s][0].toObject();
  const auto value = [&](const QString& name) { return values[name][u"data"_s]; };
  // 0: not read since the machine started, so that "not failing" would be unfounded.
  const bool wasRead = value(u"SmartUpdated"_s).toInteger() > 0;
  const QJsonValue warnings = value(u"SmartCriticalWarning"_s);
  if (warnings.isArray()) return !wasRead ? QString() : warnings.toArray().isEmpty() ? u"Verified"_s : u"Failing"_s;
  if (!value(u"SmartSupported"_s).isBool()) return {};
  if (!value(u"SmartSupported"_s).toBool()) return u"Not Supported"_s;
  if (!value(u"SmartEnabled"_s).toBool() || !wasRead) return {};
  return value(u"SmartFailing"_s).toBool() ? u"Failing"_s : u"Verified"_s;
}

}  // namespace vantora::Diagnostics
