#include <QJsonArray>

#include "Diagnostics/mac/MacCollectors.h"
#include "tests/diagnostics/MadeUpMachine.h"
#include "tests/diagnostics/Printing.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

QJsonObject section(const QString& name, const Options& options) {
  const Probe probe(options);
  for (const Collector& collector : macCollectors()) {
    if (collector.section == name) return collector.collect(probe);
  }
  ADD_FAILURE() << "no section " << name.toStdString();
  return {};
}

TEST(MacReportTest, hasTheNineSectionsInOrder) {
  QStringList sections;
  for (const Collector& collector : macCollectors()) sections.append(collector.section);
  EXPECT_EQ(sections, QStringList({u"network"_s, u"ping"_s, u"crashes"_s, u"storage"_s, u"battery"_s, u"processes"_s,
                                   u"updates"_s, u"security"_s, u"thermal"_s}));
}

TEST(MacReportTest, networkAsksTheSystemsOwnTools) {
  MadeUpMachine machine;
  machine.answer(u"airport -I"_s, u" agrCtlRSSI: -50\n SSID: Home\n lastTxRate: 867"_s);
  machine.answer(u"getifaddr en1"_s, u"192.0.2.9"_s);
  machine.answer(u"scutil --dns"_s, u"192.0.2.53"_s);
  machine.answer(u"route -n"_s, u"192.0.2.1"_s);
  machine.answer(u"curl"_s, u"<HTML>Success</HTML>"_s);
  machine.answer(u"--proxy"_s, u"HTTPEnable : 1\nHTTPProxy : p"_s);
  machine.answer(u"--nc list"_s, u"Office\nHome lab"_s);
  EXPECT_EQ(section(u"network"_s, machine.options()),
            QJsonObject({{u"ssid"_s, u"Home"_s},
                         {u"rssi"_s, -50},
                         {u"txRate"_s, u"867"_s},
                         {u"signalBars"_s, 4},
                         {u"ip"_s, u"192.0.2.9"_s},
                         {u"dns"_s, u"192.0.2.53"_s},
                         {u"gateway"_s, u"192.0.2.1"_s},
                         {u"portal"_s, QJsonObject({{u"status"_s, u"open"_s}})},
                         {u"proxy"_s, QJsonObject({{u"enabled"_s, true}, {u"summary"_s, u"HTTPProxy : p"_s}})},
                         {u"vpn"_s, QJsonArray({u"Office"_s, u"Home lab"_s})}}));
  EXPECT_EQ(
      machine.commands(),
      QStringList(
          {u"/System/Library/PrivateFrameworks/Apple80211.framework/Versions/Current/Resources/airport -I 2>/dev/null"_s,
           u"ipconfig getifaddr en0 2>/dev/null"_s, u"ipconfig getifaddr en1 2>/dev/null"_s,
           uR"(scutil --dns | awk '/nameserver\[0\]/ {print $3; exit}')"_s,
           u"route -n get default 2>/dev/null | awk '/gateway:/ {print $2; exit}'"_s,
           u"curl -m 3 -s -L 'http://127.0.0.1:9/' | head -c 200"_s, u"scutil --proxy 2>/dev/null | sed -n '1,120p'"_s,
           uR"~(scutil --nc list 2>/dev/null | grep -i Connected | sed 's/.*"\(.*\)".*/\1/')~"_s}));
}

TEST(MacReportTest, networkLeavesOutWhatIsNotKnown) {
  MadeUpMachine machine;
  EXPECT_EQ(section(u"network"_s, machine.options()),
            QJsonObject({{u"signalBars"_s, 0},
                         {u"portal"_s, QJsonObject({{u"status"_s, u"unknown"_s}})},
                         {u"proxy"_s, QJsonObject({{u"enabled"_s, false}, {u"summary"_s, QString()}})},
                         {u"vpn"_s, QJsonArray()}}));
  EXPECT_TRUE(machine.commands().contains(uR"(ifconfig | awk '/inet / && $2!="127.0.0.1" {print $2; exit}')"_s));
}

TEST(MacReportTest, pingsWhatIsKnown) {
  MadeUpMachine machine;
  machine.answer(u"route -n"_s, u"192.0.2.1"_s);
  machine.answer(u"ping -c 1 -W 800 192.0.2.1 2>/dev/null"_s,
                 u"time=2.5 ms\n1 packets transmitted, 1 packets received"_s);
  EXPECT_EQ(section(u"ping"_s, machine.options()),
            QJsonObject({{u"gateway_ok"_s, true}, {u"gateway_ms"_s, 2.5}, {u"internet_ok"_s, false}}));
  EXPECT_TRUE(machine.commands().contains(u"ping -c 1 -W 800 127.0.0.1 2>/dev/null"_s));
}

TEST(MacReportTest, readsCrashReports) {
  MadeUpMachine machine;
  machine.answer(u"| head -50"_s, u"   3 Safari\n   1 Mail"_s);
  machine.answer(u"| head -5"_s, u"/Users/u/Library/Logs/DiagnosticReports/Safari_2024_mac.crash"_s);
  machine.answer(u"*panic*"_s, u"/p/a.panic\n/p/b.panic"_s);
  machine.answer(u"stat -f %Sm -t %Y-%m-%dT%H:%M:%S \"/Users/u/"_s, u"2024-01-02T03:04:05"_s);
  const QJsonObject crash{{u"file"_s, u"/Users/u/Library/Logs/DiagnosticReports/Safari_2024_mac.crash"_s},
                          {u"name"_s, u"Safari"_s},
                          {u"time"_s, u"2024-01-02T03:04:05"_s}};
  EXPECT_EQ(section(u"crashes"_s, machine.options()),
            QJsonObject({{u"recent"_s, QJsonArray({crash})},
                         {u"kernelPanics"_s, 2},
                         {u"repeat"_s, QJsonArray({QJsonObject({{u"name"_s, u"Safari"_s}, {u"count"_s, 3}}),
                                                   QJsonObject({{u"name"_s, u"Mail"_s}, {u"count"_s, 1}})})}}));
  EXPECT_TRUE(machine.commands().contains(
      u"(ls -t1 ~/Library/Logs/DiagnosticReports/*.crash 2>/dev/null; ls -t1 /Library/Logs/DiagnosticReports/*.crash "
      u"2>/dev/null)"
      " | head -50 | sed 's#.*/##' | sed 's/\\.crash$//' | awk -F'_' '{print $1}' | sort | uniq -c | sort -nr | head -5"_s));
  EXPECT_EQ(section(u"crashes"_s, MadeUpMachine().options()),
            QJsonObject({{u"recent"_s, QJsonArray()}, {u"kernelPanics"_s, 0}, {u"repeat"_s, QJsonArray()}}));
}

TEST(MacReportTest, measuresStorage) {
  MadeUpMachine machine;
  machine.answer(u"df -k / | tail -1"_s, u"/dev/disk3s1s1 1000 250 600 30% /"_s);
  machine.answer(u"du -sk \"/home/user/Library/Caches\""_s, u"2048"_s);
  machine.answer(u"du -sk \"/home/user/Library/Application Support/MobileSync/Backup\""_s, u"1048576"_s);
  machine.answer(u"tmutil"_s, u"       4"_s);
  machine.answer(u"mdutil"_s, u"Indexing enabled."_s);
  machine.answer(u"diskutil info /"_s, u"/dev/disk3s1s1"_s);
  machine.answer(u"diskutil info \"/dev/disk3s1s1\" | awk -F': ' '/SMART/ {print $2; exit}'"_s, u"Verified"_s);
  const QJsonObject storage = section(u"storage"_s, machine.options());
  EXPECT_EQ(storage[u"freePct"_s], 60.0);
  EXPECT_EQ(storage[u"cachesPretty"_s], u"2.0 MB"_s);
  EXPECT_EQ(storage[u"downloadsPretty"_s], u"0 KB"_s);
  EXPECT_EQ(storage[u"appsPretty"_s], u"0 KB"_s);
  EXPECT_EQ(storage[u"iosBackupsPretty"_s], u"1.0 GB"_s);
  EXPECT_EQ(storage[u"snapshots"_s], 4);
  EXPECT_EQ(storage[u"spotlightStatus"_s], u"Indexing enabled."_s) << "the tool's own words";
  EXPECT_EQ(storage[u"smartStatus"_s], u"Verified"_s);
  EXPECT_TRUE(machine.commands().contains(uR"(du -sk "/Applications" 2>/dev/null | awk '{print $1}')"_s));

  const QJsonObject none = section(u"storage"_s, MadeUpMachine().options());
  EXPECT_FALSE(none.contains(u"totalKB"_s));
  EXPECT_EQ(none[u"snapshots"_s], 0);
  EXPECT_EQ(none[u"spotlightStatus"_s], u"Unknown"_s);
  EXPECT_EQ(none[u"smartStatus"_s], u"Unknown"_s);
}

TEST(MacReportTest, ranksProcesses) {
  MadeUpMachine machine;
  machine.answer(u"ps -axo pid,pcpu,comm -r"_s, u"7|12.5|/usr/libexec/a"_s);
  machine.answer(u"sort -k2 -nr | awk 'NR>1"_s, u"8|3.5|4096|/b"_s);
  EXPECT_EQ(
      section(u"processes"_s, machine.options()),
      QJsonObject(
          {{u"topCPU"_s, QJsonArray({QJsonObject({{u"pid"_s, 7}, {u"cpuPct"_s, 12.5}, {u"name"_s, u"a"_s}})})},
           {u"topMem"_s,
            QJsonArray({QJsonObject({{u"pid"_s, 8}, {u"memPct"_s, 3.5}, {u"rssKB"_s, 4096}, {u"name"_s, u"b"_s}})})}}));
  EXPECT_EQ(
      machine.commands(),
      QStringList(
          {uR"(ps -axo pid,pcpu,comm -r | awk 'NR>1{printf "%s|%s|%s\n", $1,$2,$3}' | head -5)"_s,
           uR"(ps -axo pid,pmem,rss,comm | sort -k2 -nr | awk 'NR>1{printf "%s|%s|%s|%s\n", $1,$2,$3,$4}' | head -5)"_s}));
}

TEST(MacReportTest, readsUpdatesBatteryAndSecurity) {
  MadeUpMachine machine;
  machine.answer(u"sw_vers -productVersion"_s, u"14.2.1"_s);
  machine.answer(u"softwareupdate --list --no-scan 2>/dev/null | sed -n '1,120p'"_s, u"* Label: macOS Sonoma 14.3"_s);
  machine.answer(u"| sed -n '1,220p'"_s, u"Cycle Count: 5\nMaximum Capacity: 99%"_s);
  machine.answer(u"csrutil status 2>/dev/null"_s, u"System Integrity Protection status: enabled."_s);
  machine.answer(u"spctl --status 2>/dev/null"_s, u"assessments disabled"_s);
  machine.answer(u"/usr/bin/defaults read /Library/Preferences/com.apple.alf globalstate 2>/dev/null"_s, u"2"_s);
  EXPECT_EQ(
      section(u"updates"_s, machine.options()),
      QJsonObject({{u"current"_s, u"14.2.1"_s}, {u"available"_s, QJsonArray({u"* Label: macOS Sonoma 14.3"_s})}}));
  EXPECT_EQ(section(u"battery"_s, machine.options()), QJsonObject({{u"cycleCount"_s, 5}, {u"healthPct"_s, 99}}));
  EXPECT_EQ(section(u"security"_s, machine.options()),
            QJsonObject({{u"sip"_s, true}, {u"gatekeeper"_s, false}, {u"firewall"_s, u"On"_s}}));
}

TEST(MacReportTest, takesTheBatterysTemperatureFromEitherSource) {
  MadeUpMachine machine;
  machine.answer(u"ioreg -rn AppleSmartBattery"_s, u"304"_s);
  Options options = machine.options();
  options.thermalState = [] { return u"fair"_s; };
  EXPECT_EQ(section(u"thermal"_s, options), QJsonObject({{u"state"_s, u"fair"_s}, {u"batteryC"_s, 30.4}}));

  MadeUpMachine other;
  other.answer(u"awk -F': ' '/Temperature/"_s, u"29.96 C"_s);
  EXPECT_EQ(section(u"thermal"_s, other.options()), QJsonObject({{u"state"_s, u"unknown"_s}, {u"batteryC"_s, 30.0}}));
  EXPECT_EQ(section(u"thermal"_s, MadeUpMachine().options()), QJsonObject({{u"state"_s, u"unknown"_s}}));
}

}  // namespace
}  // namespace vantora::Diagnostics
