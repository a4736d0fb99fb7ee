#pragma once

#include <QJsonObject>
#include <QString>
#include <optional>

// The battery's wear and temperature. Pure functions, any thread.
namespace vantora::Diagnostics {

struct Battery {
  std::optional<qint64> cycleCount;
  std::optional<qint64> healthPct;
};

// {"cycleCount", "healthPct"}, each when known.
[[nodiscard]] QJsonObject toJson(const Battery& battery);
// full / design x 100 as a whole number, halves away from zero; empty when a figure is not plausible.
[[nodiscard]] std::optional<qint64> healthPercent(double full, double design);
// Degrees Celsius from a raw number of tenths.
[[nodiscard]] std::optional<double> parseRawTemperature(const QString& text);

}  // namespace vantora::Diagnostics
