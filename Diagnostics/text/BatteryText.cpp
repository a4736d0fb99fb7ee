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

std::optional<double> parseRawTemperature(const QString& text) {
  const auto tenths = toInteger(text);
  if (!tenths) return std::nullopt;
  return roundedToTenth(static_cast<double>(*tenths) / 10);
}

}  // namespace vantora::Diagnostics
