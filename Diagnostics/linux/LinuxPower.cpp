#include "Diagnostics/linux/LinuxPower.h"

#include "Diagnostics/linux/LinuxCollectors.h"
#include "Diagnostics/text/BatteryText.h"
#include "Diagnostics/text/Text.h"

namespace vantora::Diagnostics::onLinux {
using namespace Qt::Literals::StringLiterals;

QStringList batteryFolders(const Probe& probe) {
  const QString supplies = u"/sys/class/power_supply"_s;
  QStringList result;
  for (const QString& name : probe.names(supplies)) {
    const QString folder = supplies + u'/' + name;
    const bool isBattery = probe.text(folder + "/type"_L1) == "Battery"_L1;
    if (isBattery && probe.text(folder + "/scope"_L1) != "Device"_L1) result.append(folder);
  }
  return result;
}

QJsonObject battery(const Probe& probe) {
  Battery battery;
  double full = 0;
  double design = 0;
  for (const QString& folder : batteryFolders(probe)) {
    // Firmware without a counter reports 0. Of two batteries the one with more wear is reported.
    const qint64 cycles = toInteger(probe.text(folder + "/cycle_count"_L1)).value_or(0);
    if (cycles > 0) battery.cycleCount = qMax(cycles, battery.cycleCount.value_or(0));
    for (const QLatin1StringView kind : {"energy"_L1, "charge"_L1}) {
      const auto now = toNumber(probe.text(folder + u'/' + kind + "_full"_L1));
      const auto once = toNumber(probe.text(folder + u'/' + kind + "_full_design"_L1));
      if (!now || !once || *once <= 0) continue;
      full += *now;
      design += *once;
      break;
    }
  }
  battery.healthPct = healthPercent(full, design);
  return toJson(battery);
}

}  // namespace vantora::Diagnostics::onLinux
