#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDir>
#include <QJsonArray>
#include <QTemporaryDir>
#include <cmath>

#include "Diagnostics/Diagnostics.h"
#include "tests/diagnostics/LoopbackPage.h"
#include "tests/diagnostics/Printing.h"
#include "tests/diagnostics/SyntheticMachine.h"
#include "tests/fakes/Processes.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

QByteArray contentOf(const QString& path) {
  QFile file(path);
  return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString ask(const QString& commandLine) {
  const QTemporaryDir home;
  Variables variables = ownVariables();
  variables.insert(u"HOME"_s, home.path());
  ShellLimits limits;
  limits.environment = entriesOf(variables);
  return sh(commandLine, 30, limits);
}

// This machine as it is, except for the network (no packet leaves it) and the home, which has no profile: that of the
// user who runs the tests may take long.
Options quietOptions() {
  static const QTemporaryDir home;
  Options options;
  options.environment.insert(u"HOME"_s, home.path());
  options.captivePageUrl = u"http://127.0.0.1:9/"_s;
  options.internetAddress = u"127.0.0.1"_s;
  return options;
}

TEST(ThisMachineTest, storageIsWhatTheKernelCounts) {
  struct statvfs before {};
  ASSERT_EQ(statvfs("/", &before), 0);
  const QJsonObject storage = storageInfo(quietOptions());
  const double total = static_cast<double>(before.f_blocks) * static_cast<double>(before.f_frsize) / 1024;
  EXPECT_NEAR(storage[u"totalKB"_s].toDouble(), total, 1);
  const double used =
      static_cast<double>(before.f_blocks - before.f_bfree) * static_cast<double>(before.f_frsize) / 1024;
  // Other processes write while this is measured.
  EXPECT_NEAR(storage[u"usedKB"_s].toDouble(), used, total * 0.02);
  EXPECT_NEAR(storage[u"freePct"_s].toDouble(), storage[u"availKB"_s].toDouble() / total * 100, 0.01);
  for (const QString& key :
       {u"totalPretty"_s, u"usedPretty"_s, u"freePretty"_s, u"cachesPretty"_s, u"downloadsPretty"_s, u"appsPretty"_s,
        u"iosBackupsPretty"_s, u"spotlightStatus"_s, u"smartStatus"_s}) {
    EXPECT_FALSE(storage[key].toString().isEmpty()) << key.toStdString();
  }
}

TEST(ThisMachineTest, folderSizesAreWhatIsInThem) {
  QTemporaryDir folder;
  const QString path = folder.filePath(u"a \"b\" $HOME `id`"_s);
  ASSERT_TRUE(QDir().mkpath(path));
  QFile file(path + u"/content"_s);
  ASSERT_TRUE(file.open(QIODevice::WriteOnly));
  file.write(QByteArray(3 << 20, 'x'));
  file.close();
  EXPECT_NEAR(static_cast<double>(duKB(path, quietOptions())), 3072, 64);
  EXPECT_EQ(duKB(path + u"/nowhere"_s, quietOptions()), 0);
}

TEST(ThisMachineTest, theProcessThatUsesMostMemoryIsThisOneWhenItDoes) {
  // More than anything else here; touched, so that it is resident.
  const QByteArray memory(600 << 20, 'x');
  const QJsonArray top = processesInfo(quietOptions())[u"topMem"_s].toArray();
  ASSERT_FALSE(top.isEmpty());
  const auto own = std::find_if(top.begin(), top.end(),
                                [](const QJsonValue& entry) { return entry[u"pid"_s].toInteger() == getpid(); });
  ASSERT_NE(own, top.end());
  EXPECT_EQ((*own)[u"name"_s], u"diagnostics_process_test"_s) << "longer than the kernel's own copy of the name";
  const qint64 residentKb =
      contentOf(u"/proc/self/statm"_s).split(' ').at(1).toLongLong() * sysconf(_SC_PAGESIZE) / 1024;
  EXPECT_NEAR((*own)[u"rssKB"_s].toDouble(), static_cast<double>(residentKb), 20'000);
  double totalKb = 0;
  for (const QByteArray& line : contentOf(u"/proc/meminfo"_s).split('\n')) {
    if (line.startsWith("MemTotal:")) totalKb = line.simplified().split(' ').at(1).toDouble();
  }
  EXPECT_NEAR((*own)[u"memPct"_s].toDouble(), (*own)[u"rssKB"_s].toDouble() / totalKb * 100, 0.06);
  EXPECT_EQ(memory.back(), 'x');
}

TEST(ThisMachineTest, aBusyProcessWithAnAwkwardNameIsFound) {
  QTemporaryDir folder;
  // Busy since its start, so that it is at the top whatever else runs.
  const QString program = folder.filePath(u"spin) S (\n\xE9"_s);
  ASSERT_TRUE(QFile::copy(u"/bin/bash"_s, program));
  ASSERT_TRUE(QFile::setPermissions(program, QFile::ReadOwner | QFile::ExeOwner));
  const pid_t pid = fork();
  if (pid == 0) {
    execl(QFile::encodeName(program).constData(), "spin", "-c", "while :; do :; done", nullptr);
    _exit(1);
  }
  ASSERT_GT(pid, 0);
  QJsonObject found;
  EXPECT_TRUE(becomesTrue([&] {
    for (const QJsonValue entry : processesInfo(quietOptions())[u"topCPU"_s].toArray()) {
      if (entry[u"pid"_s].toInteger() == pid && entry[u"name"_s] != u"diagnostics_pro"_s) found = entry.toObject();
    }
    return found[u"cpuPct"_s].toDouble() > 5;
  }));
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
  EXPECT_EQ(found[u"name"_s].toString(), u"spin) S (\né"_s);
  EXPECT_FALSE(QJsonDocument(found).toJson().isEmpty());
}

TEST(ThisMachineTest, addressesAreThoseOfTheKernel) {
  const LoopbackPage page("HTTP/1.1 200 OK\r\nContent-Length: 8\r\nConnection: close\r\n\r\nsuccess\n");
  Options options = quietOptions();
  options.captivePageUrl = page.url();
  for (const QString& name : options.environment.keys()) {
    if (name.endsWith("_proxy"_L1, Qt::CaseInsensitive)) options.environment.remove(name);
  }
  const QJsonObject network = networkInfo(options);
  EXPECT_EQ(network[u"portal"_s][u"status"_s], u"open"_s);
  EXPECT_EQ(network.contains(u"ip"_s), ask(u"ip -o addr show up scope global"_s).contains(u"inet"_s));
  if (network.contains(u"ip"_s)) {
    EXPECT_TRUE(ask(u"ip -o addr show up"_s).contains(u" "_s + network[u"ip"_s].toString() + u'/'));
  }
  const QString route = ask(u"ip -4 route show default | head -1"_s);
  if (route.contains(u"via"_s)) {
    EXPECT_TRUE(route.contains(u"via "_s + network[u"gateway"_s].toString() + u' '));
  }
  const bool hasWifi = !QDir(u"/sys/class/net"_s).entryList({u"wl*"_s}).isEmpty();
  if (!hasWifi) {
    EXPECT_EQ(network[u"signalBars"_s], 0);
  }
}

TEST(ThisMachineTest, pingsTheLoopbackInterface) {
  SyntheticMachine machine;
  machine.file(u"/etc/resolv.conf"_s, "nameserver 127.0.0.1\n");
  machine.file(u"/proc/net/route"_s, "lo\t00000000\t0100007F\t0003\t0\t0\t0\t00000000\t0\t0\t0\n");
  Options options = quietOptions();
  options.root = machine.realOptions().root;
  const QJsonObject ping = reachability(options);
  if (ask(u"command -v ping"_s).isEmpty()) {
    EXPECT_EQ(ping, QJsonObject()) << "nothing can be said";
    return;
  }
  for (const QString& name : {u"gateway"_s, u"dns"_s, u"internet"_s}) {
    EXPECT_EQ(ping[name + u"_ok"_s], true) << name.toStdString();
    EXPECT_GT(ping[name + u"_ms"_s].toDouble(), 0) << name.toStdString();
    EXPECT_LT(ping[name + u"_ms"_s].toDouble(), 800) << name.toStdString();
  }
}

TEST(ThisMachineTest, theSystemIsNamed) {
  const QString current = updateInfo(quietOptions())[u"current"_s].toString();
  EXPECT_FALSE(current.isEmpty());
  EXPECT_TRUE(contentOf(u"/etc/os-release"_s).contains(current.toUtf8()));
}

TEST(ThisMachineTest, healthFitsWhatTheKernelHas) {
  const bool hasBattery = !QDir(u"/sys/class/power_supply"_s).entryList({u"BAT*"_s}).isEmpty();
  if (!hasBattery) {
    EXPECT_EQ(batteryInfo(quietOptions()), QJsonObject());
  }
  const QString state = thermalInfo(quietOptions())[u"state"_s].toString();
  EXPECT_TRUE(QStringList({u"nominal"_s, u"fair"_s, u"serious"_s, u"critical"_s, u"unknown"_s}).contains(state));
  const bool hasSensors = !(QDir(u"/sys/class/thermal"_s).entryList({u"thermal_zone*"_s}) +
                            QDir(u"/sys/class/hwmon"_s).entryList({u"hwmon*"_s}))
                               .isEmpty();
  if (!hasSensors) {
    EXPECT_EQ(state, u"unknown"_s);
  }
  const bool secureBoot = QFile::exists(u"/sys/firmware/efi"_s);
  if (!secureBoot) {
    EXPECT_EQ(securityInfo(quietOptions())[u"sip"_s], false);
  }
}

TEST(ThisMachineTest, reportsTheCrashesOnFile) {
  const QJsonObject info = crashInfo(quietOptions());
  EXPECT_LE(info[u"recent"_s].toArray().size(), 5);
  EXPECT_LE(info[u"repeat"_s].toArray().size(), 5);
  EXPECT_LE(info[u"kernelPanics"_s].toInt(-1), 20);
  EXPECT_GE(info[u"kernelPanics"_s].toInt(-1), 0);
}

}  // namespace
}  // namespace vantora::Diagnostics
