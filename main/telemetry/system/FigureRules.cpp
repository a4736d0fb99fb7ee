#include "main/telemetry/system/FigureRules.h"

namespace vantora {
namespace {

QString lastComponent(const QString& path) { return path.mid(path.lastIndexOf(u'/') + 1); }

}  // namespace

QString shownName(const QString& command, const std::optional<RunningApplication>& application) {
  QString name = command;
  if (application) {
    const QString executable = lastComponent(application->executable);
    if (!executable.isEmpty()) name = executable;
    if (!application->localizedName.isEmpty()) name = application->localizedName;
  }
  return lastComponent(name);
}

std::optional<NetworkRates> NetworkMeter::sample(const NetworkTotals& totals, double now) {
  std::optional<NetworkRates> rates;
  if (lastNetTs_ != 0) {
    const double seconds = std::max(now - lastNetTs_, 0.001);
    const auto kbps = [seconds](quint64 difference) { return static_cast<double>(difference) * 8 / (seconds * 1000); };
    rates = NetworkRates{kbps(totals.rxBytes - lastNetRx_), kbps(totals.txBytes - lastNetTx_)};
  }
  lastNetRx_ = totals.rxBytes;
  lastNetTx_ = totals.txBytes;
  lastNetTs_ = now;
  return rates;
}

}  // namespace vantora
