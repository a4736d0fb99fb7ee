#include <unistd.h>

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>

#include "Diagnostics/Diagnostics.h"
#include "tests/diagnostics/Printing.h"
#include "tests/diagnostics/SyntheticMachine.h"
#include "tests/fakes/FileOpenDetector.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

const QJsonObject kNoCrashes{{u"recent"_s, QJsonArray()}, {u"kernelPanics"_s, 0}, {u"repeat"_s, QJsonArray()}};
const QJsonObject kNobodyKnows{{u"kernelPanics"_s, 0}};

// Adds a journal, with the signs that it was read to its end and that the user may read it.
void addJournal(SyntheticMachine& machine, const QString& crashes = u"end\n"_s,
                const QString& latest = u"Linux version 6.1.0"_s) {
  machine.file(u"/var/log/journal/0123/system.journal"_s, "");
  machine.tool(u"journalctl"_s);
  machine.answer(u"segfault"_s, crashes);
  machine.answer(u"-o cat -n 1 "_s, latest);
}

TEST(LinuxCrashesTest, aMachineWithoutCrashesHasEmptyLists) {
  SyntheticMachine withJournal;
  addJournal(withJournal);
  EXPECT_EQ(crashInfo(withJournal.options()), kNoCrashes);

  SyntheticMachine withApport;
  withApport.file(u"/usr/share/apport/apport"_s, "");
  EXPECT_EQ(crashInfo(withApport.options()), kNoCrashes);

  SyntheticMachine withCoreService;
  withCoreService.tool(u"coredumpctl"_s);
  EXPECT_EQ(crashInfo(withCoreService.options()), kNoCrashes);
}

TEST(LinuxCrashesTest, reportsNoCrashesWithoutASource) {
  EXPECT_EQ(crashInfo(SyntheticMachine().options()), kNobodyKnows);

  SyntheticMachine withoutTool;
  withoutTool.file(u"/var/log/journal/0123/system.journal"_s, "");
  EXPECT_EQ(crashInfo(withoutTool.options()), kNobodyKnows);

  SyntheticMachine unreadable;
  addJournal(unreadable, u"end\n"_s, {});
  EXPECT_EQ(crashInfo(unreadable.options()), kNobodyKnows);

  SyntheticMachine withEmptyJournal;
  withEmptyJournal.folder(u"/run/log/journal/0123"_s);
  withEmptyJournal.tool(u"journalctl"_s);
  withEmptyJournal.answer(u"-o cat -n 1 "_s, u"Linux version 6.1.0"_s);
  EXPECT_EQ(crashInfo(withEmptyJournal.options()), kNobodyKnows);
  EXPECT_FALSE(withEmptyJournal.ran(u"journalctl"_s));

  SyntheticMachine withKernelDumps;
  withKernelDumps.file(u"/var/crash/kexec_cmd"_s, "");
  EXPECT_EQ(crashInfo(withKernelDumps.options()), kNobodyKnows);
}

TEST(LinuxCrashesTest, aJournalThatTookTooLongReportsNothing) {
  SyntheticMachine slow;
  addJournal(slow, {});
  EXPECT_EQ(crashInfo(slow.options()), kNobodyKnows);
}

TEST(LinuxCrashesTest, readsTheKernelsLinesInTheJournal) {
  SyntheticMachine machine;
  addJournal(machine,
             u"1700000009.000000 desk kernel: gedit[78]: segfault at 0 ip 00007f12 sp 00007ffc error 4 in "
             u"libgtk-4.so[7f10+64]\n"
             "1700000005.000000 desk kernel: traps: Web Content[77] trap invalid opcode ip:7f12 sp:7ffc error:0\n"
             "1700000001.000000 desk kernel: gedit[70]: segfault at 0 ip 00007f12 sp 00007ffc error 4\nend\n"_s);
  const QJsonObject info = crashInfo(machine.options());
  const QJsonArray recent = info[u"recent"_s].toArray();
  ASSERT_EQ(recent.size(), 3);
  const QString time = QDateTime::fromSecsSinceEpoch(1'700'000'009).toString(u"yyyy-MM-ddTHH:mm:ss"_s);
  EXPECT_EQ(recent[0].toObject(),
            QJsonObject({{u"file"_s, u"libgtk-4.so"_s}, {u"name"_s, u"gedit"_s}, {u"time"_s, time}}));
  EXPECT_EQ(recent[1][u"name"_s], u"Web Content"_s);
  EXPECT_EQ(info[u"repeat"_s].toArray().first().toObject(), QJsonObject({{u"name"_s, u"gedit"_s}, {u"count"_s, 2}}));
  // Bounded, and only messages of the kernel itself.
  EXPECT_TRUE(machine.ran(u"-n 100 --since=-30d"_s));
  EXPECT_TRUE(machine.ran(u"_TRANSPORT=kernel"_s));
}

TEST(LinuxCrashesTest, gathersCoresReportsAndTheCoreService) {
  SyntheticMachine machine;
  const QString core =
      u"/var/lib/systemd/coredump/core.chromium-browse.1000.0123456789abcdef.77.4000000000000000.zst"_s;
  machine.file(core, "");
  machine.file(u"/var/lib/systemd/coredump/README"_s, "");
  machine.file(u"/var/crash/_usr_bin_gedit.1000.crash"_s, "ProblemType: Crash\nExecutablePath: /usr/bin/gedit\n");
  machine.tool(u"coredumpctl"_s);
  machine.answer(
      u"--json=short"_s,
      uR"([{"time":4000000000000000,"pid":77,"exe":"/usr/bin/chromium-browser"},{"time":1000000000000,"pid":9,"exe":"/usr/bin/old"}])"_s);
  const QJsonObject info = crashInfo(machine.options());
  const QJsonArray recent = info[u"recent"_s].toArray();
  ASSERT_EQ(recent.size(), 3);
  EXPECT_EQ(recent[0][u"file"_s], core);
  EXPECT_EQ(recent[0][u"name"_s], u"chromium-browser"_s);
  EXPECT_EQ(recent[1][u"file"_s], u"/var/crash/_usr_bin_gedit.1000.crash"_s);
  EXPECT_EQ(recent[1][u"name"_s], u"gedit"_s);
  EXPECT_EQ(recent[1][u"time"_s], QFileInfo(machine.place(u"/var/crash/_usr_bin_gedit.1000.crash"_s))
                                      .lastModified()
                                      .toString(u"yyyy-MM-ddTHH:mm:ss"_s));
  EXPECT_EQ(recent[2][u"name"_s], u"old"_s);
  EXPECT_EQ(info[u"repeat"_s].toArray().size(), 3);
}

TEST(LinuxCrashesTest, countsPanicsOnceAndAtMostTwenty) {
  SyntheticMachine machine;
  machine.file(u"/sys/fs/pstore/dmesg-efi_pstore-1"_s, "Panic#1 Part1\nKernel panic - not syncing: x\n");
  machine.file(u"/sys/fs/pstore/dmesg-efi_pstore-2"_s, "Oops#1 Part1\n");
  machine.file(u"/var/lib/systemd/pstore/170000/dmesg.txt"_s, "Kernel panic - not syncing: y\n");
  machine.file(u"/var/crash/202401020304/dmesg.202401020304"_s, "");
  machine.file(u"/var/crash/kdump_lock"_s, "");
  EXPECT_EQ(crashInfo(machine.options())[u"kernelPanics"_s], 2);

  machine.file(u"/var/log/journal/0123/system.journal"_s, "");
  machine.tool(u"journalctl"_s);
  machine.answer(u"journalctl"_s, u"Kernel panic - not syncing: z\n"_s.repeated(25));
  EXPECT_EQ(crashInfo(machine.options())[u"kernelPanics"_s], 20);
}

void addBattery(SyntheticMachine& machine, const QString& name, const QList<QPair<QString, QByteArray>>& values) {
  const QString folder = u"/sys/class/power_supply/"_s + name + u'/';
  machine.file(folder + u"type"_s, "Battery\n");
  for (const auto& [key, value] : values) machine.file(folder + key, value + '\n');
}

TEST(LinuxBatteryTest, withoutABatteryTheObjectIsEmpty) {
  SyntheticMachine machine;
  machine.file(u"/sys/class/power_supply/AC/type"_s, "Mains\n");
  addBattery(machine, u"hid-mouse"_s, {{u"scope"_s, "Device"}, {u"cycle_count"_s, "3"}, {u"temp"_s, "300"}});
  EXPECT_EQ(batteryInfo(machine.options()), QJsonObject());
  EXPECT_FALSE(thermalInfo(machine.options()).contains(u"batteryC"_s));
}

TEST(LinuxBatteryTest, readsWearAndTemperature) {
  SyntheticMachine machine;
  addBattery(machine, u"BAT0"_s,
             {{u"cycle_count"_s, "213"},
              {u"energy_full"_s, "45050000"},
              {u"energy_full_design"_s, "50000000"},
              {u"temp"_s, "305"}});
  EXPECT_EQ(batteryInfo(machine.options()), QJsonObject({{u"cycleCount"_s, 213}, {u"healthPct"_s, 90}}));
  EXPECT_EQ(thermalInfo(machine.options())[u"batteryC"_s], 30.5);
}

TEST(LinuxBatteryTest, twoBatteriesAreOneAndZeroCyclesAreNotCounted) {
  SyntheticMachine machine;
  addBattery(machine, u"BAT0"_s,
             {{u"cycle_count"_s, "0"}, {u"charge_full"_s, "1000"}, {u"charge_full_design"_s, "1000"}});
  addBattery(machine, u"BAT1"_s, {{u"charge_full"_s, "500"}, {u"charge_full_design"_s, "1000"}});
  EXPECT_EQ(batteryInfo(machine.options()), QJsonObject({{u"healthPct"_s, 75}}));
}

TEST(LinuxThermalTest, readsZonesAndSensors) {
  SyntheticMachine machine;
  EXPECT_EQ(thermalInfo(machine.options()), QJsonObject({{u"state"_s, u"unknown"_s}}));
  const QString zone = u"/sys/class/thermal/thermal_zone0/"_s;
  machine.file(zone + u"temp"_s, "85000\n");
  machine.file(zone + u"trip_point_0_type"_s, "critical\n");
  machine.file(zone + u"trip_point_0_temp"_s, "105000\n");
  machine.file(zone + u"trip_point_1_type"_s, "active\n");
  machine.file(zone + u"trip_point_1_temp"_s, "50000\n");
  EXPECT_EQ(thermalInfo(machine.options())[u"state"_s], u"nominal"_s) << "a fan that runs is no trouble";
  machine.file(zone + u"trip_point_2_type"_s, "passive\n");
  machine.file(zone + u"trip_point_2_temp"_s, "85000\n");
  EXPECT_EQ(thermalInfo(machine.options())[u"state"_s], u"fair"_s);
  machine.file(u"/sys/class/hwmon/hwmon3/temp1_input"_s, "101000\n");
  machine.file(u"/sys/class/hwmon/hwmon3/temp1_crit"_s, "100000\n");
  EXPECT_EQ(thermalInfo(machine.options())[u"state"_s], u"critical"_s);
  machine.file(u"/sys/class/hwmon/hwmon3/temp1_input"_s, "6553500\n");
  EXPECT_EQ(thermalInfo(machine.options())[u"state"_s], u"fair"_s) << "a broken sensor";
}

void addProcess(SyntheticMachine& machine, int pid, const QByteArray& name, int cpuTicks, int pages,
                const QByteArray& command) {
  const QByteArray id = QByteArray::number(pid);
  const QString folder = u"/proc/"_s + QString::fromLatin1(id);
  machine.file(folder + u"/stat"_s, id + " (" + name + ") S 1 1 1 0 -1 0 0 0 0 0 " + QByteArray::number(cpuTicks) +
                                        " 0 0 0 20 0 1 0 0 1000 " + QByteArray::number(pages) + " 1 1\n");
  machine.file(folder + u"/cmdline"_s, command);
}

TEST(LinuxProcessesTest, ranksByProcessorAndMemory) {
  SyntheticMachine machine;
  machine.file(u"/proc/uptime"_s, "1000.00 500.00\n");
  machine.file(u"/proc/meminfo"_s, "MemTotal:       1000000 kB\nMemFree: 1 kB\n");
  machine.file(u"/proc/self/stat"_s, "not a process of its own");
  const int ticks = static_cast<int>(sysconf(_SC_CLK_TCK));
  const int pageKb = static_cast<int>(sysconf(_SC_PAGESIZE) / 1024);
  addProcess(machine, 10, "busy one)\n(", 500 * ticks, 10, {});
  addProcess(machine, 11, "bad\xff", 100 * ticks, 20, {});
  addProcess(machine, 12, "gnome-terminal-", 0, 100000 / pageKb,
             QByteArray("/usr/libexec/gnome-terminal-server\0", 35));
  for (int pid = 20; pid < 26; ++pid) addProcess(machine, pid, "idle", 0, 1, {});
  const QJsonObject info = processesInfo(machine.options());
  const QJsonArray cpu = info[u"topCPU"_s].toArray();
  ASSERT_EQ(cpu.size(), 5);
  EXPECT_EQ(cpu[0].toObject(), QJsonObject({{u"pid"_s, 10}, {u"cpuPct"_s, 50.0}, {u"name"_s, u"busy one)\n("_s}}));
  EXPECT_EQ(cpu[1].toObject(), QJsonObject({{u"pid"_s, 11}, {u"cpuPct"_s, 10.0}, {u"name"_s, u"bad\uFFFD"_s}}));
  const QJsonArray memory = info[u"topMem"_s].toArray();
  ASSERT_EQ(memory.size(), 5);
  EXPECT_EQ(memory[0].toObject(),
            QJsonObject(
                {{u"pid"_s, 12}, {u"memPct"_s, 10.0}, {u"rssKB"_s, 100000}, {u"name"_s, u"gnome-terminal-server"_s}}));
}

TEST(LinuxProcessesTest, readsACommandLineOnlyWhereTheNameIsCutAndTheProcessIsNotStuck) {
  SyntheticMachine machine;
  addProcess(machine, 10, "short", 0, 10, QByteArray("/usr/bin/short\0", 15));
  addProcess(machine, 11, "stuck-and-cut-o", 0, 10, QByteArray("/usr/bin/stuck-and-cut-off\0", 27));
  machine.file(u"/proc/11/stat"_s, "11 (stuck-and-cut-o) D 1 1 1 0 -1 0 0 0 0 0 0 0 0 0 20 0 1 0 0 1000 10 1 1\n");
  addProcess(machine, 12, "alive-and-cut-o", 0, 10, QByteArray("/usr/bin/alive-and-cut-off\0", 27));
  fakes::FileOpenDetector leftAlone;
  leftAlone.add(machine.place(u"/proc/10/cmdline"_s));
  leftAlone.add(machine.place(u"/proc/11/cmdline"_s));
  fakes::FileOpenDetector read;
  read.add(machine.place(u"/proc/12/cmdline"_s));
  const QJsonArray top = processesInfo(machine.options())[u"topMem"_s].toArray();
  ASSERT_EQ(top.size(), 3);
  EXPECT_EQ(top[0][u"name"_s], u"short"_s);
  EXPECT_EQ(top[1][u"name"_s], u"stuck-and-cut-o"_s);
  EXPECT_EQ(top[2][u"name"_s], u"alive-and-cut-off"_s);
  EXPECT_FALSE(leftAlone.wereOpened());
  EXPECT_TRUE(read.wereOpened());
}

TEST(LinuxUpdatesTest, asksThePackageManagerThatIsThere) {
  SyntheticMachine machine;
  machine.file(u"/etc/os-release"_s, "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n");
  machine.file(u"/var/lib/dpkg/status"_s, "x");
  machine.tool(u"apt"_s);
  machine.tool(u"dnf"_s);
  machine.answer(u"apt"_s, u"Listing...\nbash/stable 2 amd64 [upgradable from: 1]"_s);
  EXPECT_EQ(updateInfo(machine.options()),
            QJsonObject({{u"current"_s, u"Debian GNU/Linux 12 (bookworm)"_s},
                         {u"available"_s, QJsonArray({u"bash/stable 2 amd64 [upgradable from: 1]"_s})}}));
  EXPECT_FALSE(machine.ran(u"dnf"_s));

  SyntheticMachine fedora;
  fedora.file(u"/usr/lib/os-release"_s, "NAME=Fedora\nVERSION_ID=39\n");
  fedora.tool(u"dnf"_s);
  fedora.answer(u"-C -q list --upgrades"_s, u"Available Upgrades\nbash.x86_64 5.2-1 updates"_s);
  EXPECT_EQ(
      updateInfo(fedora.options()),
      QJsonObject({{u"current"_s, u"Fedora 39"_s}, {u"available"_s, QJsonArray({u"bash.x86_64 5.2-1 updates"_s})}}));

  SyntheticMachine other;
  other.tool(u"pkcon"_s);
  other.file(u"/run/dbus/system_bus_socket"_s, "");
  other.answer(u"get-updates"_s, u"Security \tbash-5.2-1.x86_64 (updates)"_s);
  EXPECT_EQ(updateInfo(other.options()),
            QJsonObject({{u"available"_s, QJsonArray({u"bash-5.2-1.x86_64 (updates)"_s})}}));

  EXPECT_EQ(updateInfo(SyntheticMachine().options()), QJsonObject({{u"available"_s, QJsonArray()}}));
}

TEST(LinuxSecurityTest, nothingFoundIsNothingSecured) {
  EXPECT_EQ(securityInfo(SyntheticMachine().options()),
            QJsonObject({{u"sip"_s, false}, {u"gatekeeper"_s, false}, {u"firewall"_s, u"Off"_s}}));
}

TEST(LinuxSecurityTest, integrityNeedsSecureBootAndAModule) {
  SyntheticMachine machine;
  const QString variable = u"/sys/firmware/efi/efivars/SecureBoot-8be4df61-93ca-11d2-aa0d-00e098032b8c"_s;
  machine.file(variable, QByteArray("\x06\0\0\0\x01", 5));
  EXPECT_EQ(securityInfo(machine.options())[u"sip"_s], false);
  machine.file(u"/sys/module/apparmor/parameters/enabled"_s, "Y\n");
  EXPECT_EQ(securityInfo(machine.options())[u"sip"_s], true);
  machine.file(variable, QByteArray("\x06\0\0\0\0", 5));
  EXPECT_EQ(securityInfo(machine.options())[u"sip"_s], false);

  SyntheticMachine selinux;
  selinux.file(variable, QByteArray("\x06\0\0\0\x01", 5));
  selinux.file(u"/sys/fs/selinux/enforce"_s, "0");
  EXPECT_EQ(securityInfo(selinux.options())[u"sip"_s], false);
  selinux.file(u"/sys/fs/selinux/enforce"_s, "1");
  EXPECT_EQ(securityInfo(selinux.options())[u"sip"_s], true);
}

TEST(LinuxSecurityTest, gatekeeperStandsForSignedPackages) {
  SyntheticMachine machine;
  machine.file(u"/etc/apt/sources.list"_s, "deb http://deb.example stable main\n");
  EXPECT_EQ(securityInfo(machine.options())[u"gatekeeper"_s], true);
  machine.file(u"/etc/apt/sources.list.d/own.sources"_s, "Types: deb\nTrusted: yes\n");
  EXPECT_EQ(securityInfo(machine.options())[u"gatekeeper"_s], false);

  SyntheticMachine fedora;
  fedora.file(u"/etc/dnf/dnf.conf"_s, "[main]\ngpgcheck=1\n");
  EXPECT_EQ(securityInfo(fedora.options())[u"gatekeeper"_s], true);
  fedora.file(u"/etc/yum.repos.d/own.repo"_s, "[own]\ngpgcheck=0\n");
  EXPECT_EQ(securityInfo(fedora.options())[u"gatekeeper"_s], false);

  SyntheticMachine suse;
  suse.folder(u"/etc/zypp"_s);
  EXPECT_EQ(securityInfo(suse.options())[u"gatekeeper"_s], true);
}

TEST(LinuxSecurityTest, anyOfTheFirewallsCounts) {
  SyntheticMachine ufw;
  ufw.file(u"/etc/ufw/ufw.conf"_s, "ENABLED=yes\n");
  EXPECT_EQ(securityInfo(ufw.options())[u"firewall"_s], u"On"_s);

  SyntheticMachine systemd;
  systemd.tool(u"systemctl"_s);
  systemd.answer(u"is-active firewalld.service nftables.service"_s, u"inactive\nactive"_s);
  EXPECT_EQ(securityInfo(systemd.options())[u"firewall"_s], u"Off"_s) << "systemd is not what runs this machine";
  systemd.folder(u"/run/systemd/system"_s);
  EXPECT_EQ(securityInfo(systemd.options())[u"firewall"_s], u"On"_s);

  SyntheticMachine rules;
  rules.tool(u"nft"_s);
  rules.answer(u"list ruleset"_s, u"chain input {\ntype filter hook input priority 0; policy drop;\n}"_s);
  EXPECT_EQ(securityInfo(rules.options())[u"firewall"_s], u"On"_s);
}

}  // namespace
}  // namespace vantora::Diagnostics
