#include "Diagnostics/text/WifiText.h"

#include <QStringList>
#include <cmath>

#include "Diagnostics/text/FieldsText.h"
#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

namespace {

std::optional<int> toInt(const QString& text) {
  bool ok = false;
  const int value = text.toInt(&ok);
  return ok ? std::optional(value) : std::nullopt;
}

std::optional<int> roundedInt(std::optional<double> value) {
  // Values far outside the range of a radio are not reported.
  if (!value || std::abs(*value) > 1000) return std::nullopt;
  return static_cast<int>(std::lround(*value));
}

// A driver reports levels of 0 and of -256 when the level is unknown.
std::optional<int> knownLevel(std::optional<int> level) {
  return level && *level < 0 && *level > -200 ? level : std::nullopt;
}

}  // namespace

WifiLink parseAirport(const QString& text) {
  WifiLink link;
  for (const QString& line : trimmedLines(text)) {
    const qsizetype colon = line.indexOf(u':');
    if (colon < 0) continue;
    const QString label = line.left(colon).trimmed().toLower();
    const QString value = line.mid(colon + 1).trimmed();
    if (label == "ssid"_L1) {
      link.ssid = value;
    } else if (label == "agrctlrssi"_L1) {
      link.rssi = toInt(value);
    } else if (label == "agrctlnoise"_L1) {
      link.noise = toInt(value);
    } else if (label == "lasttxrate"_L1 || label == "last tx rate"_L1) {
      link.txRate = value;
    }
  }
  return link;
}

WifiLink parseIwLink(const QString& text) {
  WifiLink link;
  for (const QString& line : trimmedLines(text)) {
    if (line.startsWith("SSID: "_L1)) {
      link.ssid = unescaped(line.mid(6));
    } else if (line.startsWith("signal: "_L1)) {
      link.rssi = roundedInt(toNumber(words(line.mid(8)).value(0)));
    } else if (line.startsWith("tx bitrate: "_L1)) {
      const QString rate = words(line.mid(12)).value(0);
      if (toNumber(rate)) link.txRate = rate;
    }
  }
  return link;
}

std::optional<int> parseIwNoise(const QString& text) {
  bool inUse = false;
  for (const QString& line : trimmedLines(text)) {
    if (line.startsWith("frequency:"_L1)) inUse = line.contains("[in use]"_L1);
    if (inUse && line.startsWith("noise:"_L1)) return knownLevel(roundedInt(toNumber(words(line.mid(6)).value(0))));
  }
  return std::nullopt;
}

WifiLink parseNmcliWifi(const QString& text) {
  constexpr int kDbmOfZeroPercent = -120;
  for (const QString& line : trimmedLines(text)) {
    const QStringList fields = nmcliFields(line);
    if (fields.size() < 4 || fields[0] != "*"_L1) continue;
    WifiLink link;
    if (!fields[1].isEmpty()) link.ssid = fields[1];
    const std::optional<int> percent = toInt(fields[2]);
    if (percent && *percent >= 0 && *percent <= 100) link.rssi = kDbmOfZeroPercent + *percent;
    const QString rate = words(fields[3]).value(0);
    if (toNumber(rate)) link.txRate = rate;
    return link;
  }
  return {};
}

WifiLink parseProcWireless(const QString& text, const QString& interface) {
  for (const QString& line : trimmedLines(text)) {
    const QStringList fields = words(line);
    if (fields.size() < 5 || fields[0] != interface + u':') continue;
    // The numbers end in a dot when they were updated since the last read.
    const auto level = [&](int index) { return knownLevel(roundedInt(toNumber(QString(fields[index]).remove(u'.')))); };
    return {.ssid = {}, .rssi = level(3), .noise = level(4), .txRate = {}};
  }
  return {};
}

int signalBars(std::optional<int> rssi) {
  if (!rssi) return 0;
  if (*rssi >= -50) return 4;
  if (*rssi >= -60) return 3;
  if (*rssi >= -70) return 2;
  return 1;
}

QJsonObject toJson(const WifiLink& link) {
  QJsonObject result{{u"signalBars"_s, signalBars(link.rssi)}};
  if (link.ssid) result[u"ssid"_s] = *link.ssid;
  if (link.rssi) result[u"rssi"_s] = *link.rssi;
  if (link.noise) result[u"noise"_s] = *link.noise;
  if (link.txRate) result[u"txRate"_s] = *link.txRate;
  return result;
}

}  // namespace vantora::Diagnostics
