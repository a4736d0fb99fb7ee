#include "Diagnostics/text/BatteryText.h"

#include <cmath>

#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

QJsonObject toJson(const Battery& battery) {
  QJsonObject result;
  if (battery.cycleCount) result[u"cycleCount"_s] = *battery.cycleCount;
  if (battery.healthPct) result[u"healthPct"_s] = *battery.healthPct;
  return result;
}

std::optional<qint64> healthPercent(double full, double design) {
  // Past ten times the design one of the figures is in another unit.
  if (!(full >= 0) || !(design > 0) || full / design > 10) return std::nullopt;
  return std::llround(full / design * 100);
}

Battery parsePowerProfile(const QString& text) {
  Battery battery;
  std::optional<qint64> maximum;
  std::optional<double> full;
  std::optional<double> design;
  for (const QString& line : trimmedLines(text.toLower())) {
    const QString value = line.section(u':', 1).trimmed();
    if (!battery.cycleCount && line.contains("cycle count:"_L1)) battery.cycleCount = leadingInteger(value);
    if (!maximum && line.contains("maximum capacity:"_L1)) maximum = leadingInteger(value);
    if (!full && line.contains("full charge capacity (mah)"_L1)) full = toNumber(value);
    if (!design && line.contains("design capacity (mah)"_L1)) design = toNumber(value);
  }
  battery.healthPct = maximum;
  if (!maximum && full && design) battery.healthPct = healthPercent(*full, *design);
  return battery;
}

std::optional<double> parseRawTemperature(const QString& text) {
  const auto tenths = toInteger(text);
  if (!tenths) return std::nullopt;
  return roundedToTenth(static_cast<double>(*tenths) / 10);
}

std::optional<double> parseTemperature(const QString& text) {
  const auto degrees = toNumber(QString(text).remove(u" C"_s));
  if (!degrees) return std::nullopt;
  return roundedToTenth(*degrees);
}

}  // namespace vantora::Diagnostics
