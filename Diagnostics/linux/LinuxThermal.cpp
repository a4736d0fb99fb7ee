#include "Diagnostics/linux/LinuxCollectors.h"
#include "Diagnostics/linux/LinuxPower.h"
#include "Diagnostics/text/BatteryText.h"
#include "Diagnostics/text/Text.h"
#include "Diagnostics/text/ThermalText.h"

namespace vantora::Diagnostics::onLinux {
using namespace Qt::Literals::StringLiterals;

namespace {

// A sensor that is off or broken reports implausible values.
std::optional<int> temperature(const Probe& probe, const QString& path) {
  const auto value = toInteger(probe.text(path));
  if (!value || *value < -40'000 || *value > 250'000) return std::nullopt;
  return static_cast<int>(*value);
}

std::optional<Trip::Kind> tripKind(const QString& type) {
  if (type == "critical"_L1) return Trip::Kind::critical;
  if (type == "hot"_L1) return Trip::Kind::hot;
  if (type == "passive"_L1) return Trip::Kind::passive;
  return std::nullopt;  // "active" only starts a fan
}

void addZones(const Probe& probe, std::vector<ThermalZone>& zones) {
  const QString all = u"/sys/class/thermal"_s;
  for (const QString& name : probe.names(all, u"thermal_zone*"_s)) {
    const QString folder = all + u'/' + name + u'/';
    const auto now = temperature(probe, folder + "temp"_L1);
    if (!now) continue;
    ThermalZone zone{*now, {}};
    for (const QString& file : probe.names(folder, u"trip_point_*_type"_s)) {
      const auto kind = tripKind(probe.text(folder + file));
      const auto limit = temperature(probe, folder + file.chopped(4) + "temp"_L1);
      if (kind && limit) zone.trips.push_back({*kind, *limit});
    }
    zones.push_back(zone);
  }
}

void addSensors(const Probe& probe, std::vector<ThermalZone>& zones) {
  const QString all = u"/sys/class/hwmon"_s;
  for (const QString& name : probe.names(all)) {
    const QString folder = all + u'/' + name + u'/';
    for (const QString& file : probe.names(folder, u"temp*_input"_s)) {
      const QString sensor = folder + file.chopped(5);
      const auto now = temperature(probe, folder + file);
      if (!now) continue;
      ThermalZone zone{*now, {}};
      if (const auto limit = temperature(probe, sensor + "max"_L1)) zone.trips.push_back({Trip::Kind::passive, *limit});
      if (const auto limit = temperature(probe, sensor + "crit"_L1)) {
        zone.trips.push_back({Trip::Kind::critical, *limit});
      }
      zones.push_back(zone);
    }
  }
}

}  // namespace

QJsonObject thermal(const Probe& probe) {
  std::vector<ThermalZone> zones;
  addZones(probe, zones);
  addSensors(probe, zones);
  QJsonObject result{{u"state"_s, thermalState(zones)}};
  for (const QString& folder : batteryFolders(probe)) {
    if (const auto degrees = parseRawTemperature(probe.text(folder + "/temp"_L1))) {
      result[u"batteryC"_s] = *degrees;
      break;
    }
  }
  return result;
}

}  // namespace vantora::Diagnostics::onLinux
