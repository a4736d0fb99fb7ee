#include "Diagnostics/mac/MacCollectors.h"

#include <QJsonArray>

#include "Diagnostics/CaptivePortal.h"
#include "Diagnostics/FolderSize.h"
#include "Diagnostics/text/BatteryText.h"
#include "Diagnostics/text/CrashText.h"
#include "Diagnostics/text/PingText.h"
#include "Diagnostics/text/ProcessText.h"
#include "Diagnostics/text/ProxyText.h"
#include "Diagnostics/text/SecurityText.h"
#include "Diagnostics/text/StorageText.h"
#include "Diagnostics/text/Text.h"
#include "Diagnostics/text/ThermalText.h"
#include "Diagnostics/text/UpdateText.h"
#include "Diagnostics/text/WifiText.h"

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

namespace {

QString firstResolver(const Probe& probe) {
  return probe.sh(uR"(scutil --dns | awk '/nameserver\[0\]/ {print $3; exit}')"_s);
}

QString gateway(const Probe& probe) {
  return probe.sh(u"route -n get default 2>/dev/null | awk '/gateway:/ {print $2; exit}'"_s);
}

QString address(const Probe& probe) {
  for (const QString& command : {u"ipconfig getifaddr en0 2>/dev/null"_s, u"ipconfig getifaddr en1 2>/dev/null"_s,
                                 uR"(ifconfig | awk '/inet / && $2!="127.0.0.1" {print $2; exit}')"_s}) {
    QString found = probe.sh(command);
    if (!found.isEmpty()) return found;
  }
  return {};
}

QJsonObject network(const Probe& probe) {
  QJsonObject result =
      toJson(parseAirport(probe.sh(u"/System/Library/PrivateFrameworks/Apple80211.framework/Versions/Current/Resources/"
                                   "airport -I 2>/dev/null"_s)));
  const auto add = [&](const QString& key, const QString& value) {
    if (!value.isEmpty()) result[key] = value;
  };
  add(u"ip"_s, address(probe));
  add(u"dns"_s, firstResolver(probe));
  add(u"gateway"_s, gateway(probe));
  result[u"portal"_s] = captivePortal(probe.sh(captivePortalCommand(probe.options().captivePageUrl)));
  result[u"proxy"_s] = toJson(parseScutilProxy(probe.sh(u"scutil --proxy 2>/dev/null | sed -n '1,120p'"_s)));
  result[u"vpn"_s] = QJsonArray::fromStringList(
      trimmedLines(probe.sh(uR"~(scutil --nc list 2>/dev/null | grep -i Connected | sed 's/.*"\(.*\)".*/\1/')~"_s)));
  return result;
}

QJsonObject ping(const Probe& probe) {
  QJsonObject result;
  const auto add = [&](const QString& name, const QString& target) {
    if (target.isEmpty()) return;
    const QJsonObject one = toJson(name, parsePing(probe.sh(u"ping -c 1 -W 800 "_s + target + u" 2>/dev/null"_s)));
    for (auto it = one.begin(); it != one.end(); ++it) result.insert(it.key(), it.value());
  };
  const QString router = gateway(probe);
  const QString resolver = firstResolver(probe);
  add(u"gateway"_s, router);
  add(u"dns"_s, resolver);
  add(u"internet"_s, probe.options().internetAddress);
  return result;
}

QJsonObject crashes(const Probe& probe) {
  const QString reports =
      u"(ls -t1 ~/Library/Logs/DiagnosticReports/*.crash 2>/dev/null; "
      "ls -t1 /Library/Logs/DiagnosticReports/*.crash 2>/dev/null)"_s;
  QJsonArray recent;
  for (const QString& path : trimmedLines(probe.sh(reports + u" | head -5"_s))) {
    const QString time = probe.sh(u"stat -f %Sm -t %Y-%m-%dT%H:%M:%S "_s + doubleQuoted(path) + u" 2>/dev/null"_s);
    recent.append(QJsonObject{{u"file"_s, path}, {u"name"_s, crashReportName(path)}, {u"time"_s, time}});
  }
  const QString panics = probe.sh(u"ls -t1 /Library/Logs/DiagnosticReports/*panic* 2>/dev/null | head -20"_s);
  const QString counts = probe.sh(reports +
                                  uR"( | head -50 | sed 's#.*/##' | sed 's/\.crash$//' | awk -F'_' '{print $1}')"
                                  " | sort | uniq -c | sort -nr | head -5"_s);
  return {{u"recent"_s, recent}, {u"kernelPanics"_s, trimmedLines(panics).size()}, {u"repeat"_s, parseCounts(counts)}};
}

QString smartStatus(const Probe& probe) {
  const QString node = probe.sh(u"diskutil info / | awk -F': ' '/Device Node/ {print $2; exit}'"_s);
  if (node.isEmpty()) return {};
  return probe.sh(u"diskutil info "_s + doubleQuoted(node) + u" | awk -F': ' '/SMART/ {print $2; exit}'"_s);
}

QJsonObject storage(const Probe& probe) {
  QJsonObject result;
  if (const auto volume = parseDf(probe.sh(u"df -k / | tail -1"_s))) result = toJson(*volume);
  const auto size_of = [&](const QString& path) {
    return bytesPretty(parseFolderKB(probe.sh(folderSizeCommand(path))));
  };
  const auto known = [](const QString& text) { return text.isEmpty() ? u"Unknown"_s : text; };
  const QString home = probe.home();
  result[u"cachesPretty"_s] = size_of(home + u"/Library/Caches"_s);
  result[u"downloadsPretty"_s] = size_of(home + u"/Downloads"_s);
  result[u"appsPretty"_s] = size_of(u"/Applications"_s);
  result[u"iosBackupsPretty"_s] = size_of(home + u"/Library/Application Support/MobileSync/Backup"_s);
  result[u"snapshots"_s] = toInteger(probe.sh(u"tmutil listlocalsnapshots / 2>/dev/null | wc -l"_s)).value_or(0);
  result[u"spotlightStatus"_s] = known(probe.sh(u"mdutil -s / 2>/dev/null | tail -1"_s));
  result[u"smartStatus"_s] = known(smartStatus(probe));
  return result;
}

QJsonObject battery(const Probe& probe) {
  return toJson(parsePowerProfile(probe.sh(u"system_profiler SPPowerDataType 2>/dev/null | sed -n '1,220p'"_s)));
}

QJsonObject processes(const Probe& probe) {
  // In the second line the header goes through the sort like a process, and the first row that comes out is dropped.
  return {{u"topCPU"_s, parsePsCpu(probe.sh(uR"(ps -axo pid,pcpu,comm -r | awk 'NR>1{printf "%s|%s|%s\n", $1,$2,$3}')"
                                            " | head -5"_s))},
          {u"topMem"_s, parsePsMem(probe.sh(u"ps -axo pid,pmem,rss,comm | sort -k2 -nr | "
                                            R"(awk 'NR>1{printf "%s|%s|%s|%s\n", $1,$2,$3,$4}' | head -5)"_s))}};
}

QJsonObject updates(const Probe& probe) {
  const QString version = probe.sh(u"sw_vers -productVersion"_s);
  const QString listed = probe.sh(u"softwareupdate --list --no-scan 2>/dev/null | sed -n '1,120p'"_s);
  QJsonObject result{{u"available"_s, QJsonArray::fromStringList(parseSoftwareUpdate(listed))}};
  if (!version.isEmpty()) result[u"current"_s] = version;
  return result;
}

QJsonObject security(const Probe& probe) {
  const QString level =
      probe.sh(u"/usr/bin/defaults read /Library/Preferences/com.apple.alf globalstate 2>/dev/null"_s);
  return {{u"sip"_s, saysEnabled(probe.sh(u"csrutil status 2>/dev/null"_s))},
          {u"gatekeeper"_s, saysEnabled(probe.sh(u"spctl --status 2>/dev/null"_s))},
          {u"firewall"_s, firewallState(level)}};
}

QJsonObject thermal(const Probe& probe) {
  const auto& state = probe.options().thermalState;
  QJsonObject result{{u"state"_s, knownThermalState(state ? state() : QString())}};
  auto degrees = parseRawTemperature(
      probe.sh(uR"(ioreg -rn AppleSmartBattery 2>/dev/null | awk -F'= ' '/"Temperature"/ {print $2; exit}')"_s));
  if (!degrees) {
    degrees = parseTemperature(
        probe.sh(u"system_profiler SPPowerDataType 2>/dev/null | awk -F': ' '/Temperature/ {print $2; exit}'"_s));
  }
  if (degrees) result[u"batteryC"_s] = *degrees;
  return result;
}

}  // namespace

const std::vector<Collector>& macCollectors() {
  static const std::vector<Collector> kCollectors = {
      {"network"_L1, network},
      {"ping"_L1, ping},
      {"crashes"_L1, crashes},
      {"storage"_L1, storage, Collector::Turn::Early},
      {"battery"_L1, battery},
      {"processes"_L1, processes, Collector::Turn::First},
      {"updates"_L1, updates, Collector::Turn::Early},
      {"security"_L1, security},
      {"thermal"_L1, thermal},
  };
  return kCollectors;
}

}  // namespace vantora::Diagnostics
