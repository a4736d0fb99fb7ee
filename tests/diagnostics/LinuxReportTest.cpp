#include <QJsonArray>
#include <QSet>
#include <thread>

#include "Diagnostics/Diagnostics.h"
#include "Diagnostics/linux/LinuxCollectors.h"
#include "tests/diagnostics/Printing.h"
#include "tests/diagnostics/SyntheticMachine.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

const QStringList kSections = {u"network"_s,   u"ping"_s,    u"crashes"_s,  u"storage"_s, u"battery"_s,
                               u"processes"_s, u"updates"_s, u"security"_s, u"thermal"_s};

void expectAllSections(const QJsonObject& report) {
  QStringList expected = kSections;
  expected.sort();
  EXPECT_EQ(report.keys(), expected);
  for (const QString& section : kSections) EXPECT_TRUE(report[section].isObject()) << section.toStdString();
}

TEST(LinuxReportTest, anEmptyMachineStillHasAllSections) { expectAllSections(run(SyntheticMachine().options())); }

TEST(LinuxReportTest, theReportIsTheSectionsPutTogether) {
  SyntheticMachine machine;
  machine.tool(u"ping"_s);
  machine.tool(u"apt"_s);
  machine.file(u"/var/lib/dpkg/status"_s, "Package: a\nStatus: install ok installed\nInstalled-Size: 7\n");
  machine.file(u"/etc/os-release"_s, "PRETTY_NAME=X\n");
  machine.file(u"/proc/uptime"_s, "10 10\n");
  machine.file(u"/proc/1/stat"_s, "1 (init) S 0 1 1 0 -1 0 0 0 0 0 50 0 0 0 20 0 1 0 0 1000 10 1 1\n");
  machine.answer(u"ping"_s, u"time=1.5 ms\n1 packets transmitted, 1 received"_s);
  machine.answer(u"apt"_s, u"a/b 2 amd64 [upgradable from: 1]"_s);
  for (const int workers : {1, 4, -3, 1000}) {
    Options options = machine.options();
    options.workers = workers;
    QJsonObject report = run(options);
    QJsonObject expected = {{u"network"_s, networkInfo(options)}, {u"ping"_s, reachability(options)},
                            {u"crashes"_s, crashInfo(options)},   {u"storage"_s, storageInfo(options)},
                            {u"battery"_s, batteryInfo(options)}, {u"processes"_s, processesInfo(options)},
                            {u"updates"_s, updateInfo(options)},  {u"security"_s, securityInfo(options)},
                            {u"thermal"_s, thermalInfo(options)}};
    // The folder that is used as "/" lies on a disk in use.
    QJsonObject storage = report[u"storage"_s].toObject();
    for (const QString& key : {u"usedKB"_s, u"availKB"_s, u"freePct"_s, u"usedPretty"_s, u"freePretty"_s}) {
      EXPECT_TRUE(storage.contains(key));
      storage[key] = expected[u"storage"_s][key];
    }
    report[u"storage"_s] = storage;
    EXPECT_EQ(report, expected) << workers << " workers";
  }
}

TEST(LinuxReportTest, piecesOfASectionFillDifferentKeys) {
  SyntheticMachine machine;
  machine.tool(u"ping"_s);
  machine.file(u"/etc/os-release"_s, "PRETTY_NAME=X\n");
  const Probe probe(machine.options());
  QSet<QString> seen;
  for (const Collector& collector : linuxCollectors()) {
    EXPECT_TRUE(kSections.contains(collector.section));
    for (const QString& key : collector.collect(probe).keys()) {
      const QString full = collector.section + u'.' + key;
      EXPECT_FALSE(seen.contains(full)) << full.toStdString();
      seen.insert(full);
    }
  }
}

TEST(LinuxReportTest, processesAreCountedBeforeTheReportsOwnCommandsRun) {
  SyntheticMachine machine;
  machine.tool(u"ping"_s);
  Options options = machine.options();
  // Every command is a process that a later query of the processes would find.
  options.runner = [&machine, answer = options.runner](const QString& command, double seconds) {
    machine.file(u"/proc/99/stat"_s, "99 (own) S 0 1 1 0 -1 0 0 0 0 0 50 0 0 0 20 0 1 0 0 1000 10 1 1\n");
    return answer(command, seconds);
  };
  options.workers = 1;
  EXPECT_TRUE(run(options)[u"processes"_s][u"topCPU"_s].toArray().isEmpty());
  EXPECT_EQ(processesInfo(options)[u"topCPU"_s].toArray().size(), 1) << "the query itself does find it";
}

TEST(LinuxReportTest, aStoppedReportRunsNothing) {
  SyntheticMachine machine;
  machine.tool(u"ping"_s);
  std::stop_source source;
  Options options = machine.options();
  options.stop = source.get_token();
  source.request_stop();
  expectAllSections(run(options));
  EXPECT_TRUE(machine.commands().isEmpty());
}

TEST(LinuxReportTest, pastItsDeadlineAReportStartsNoCommand) {
  SyntheticMachine machine;
  machine.tool(u"ping"_s);
  machine.file(u"/etc/os-release"_s, "PRETTY_NAME=X\n");
  Options options = machine.options();
  options.deadline = std::chrono::milliseconds(0);
  // What needs no command is present all the same, unless a busy machine misses the short time that is left for it.
  bool there = false;
  for (int again = 0; !there && again < 5; ++again) {
    const QJsonObject report = run(options);
    expectAllSections(report);
    EXPECT_TRUE(machine.commands().isEmpty());
    there = report[u"updates"_s][u"current"_s] == u"X"_s;
  }
  EXPECT_TRUE(there);
}

TEST(LinuxReportTest, reportsAtTheSameTimeDoNotMix) {
  SyntheticMachine first;
  first.file(u"/etc/os-release"_s, "PRETTY_NAME=First\n");
  SyntheticMachine second;
  second.file(u"/etc/os-release"_s, "PRETTY_NAME=Second\n");
  QJsonObject ofSecond;
  std::jthread other([&] { ofSecond = run(second.options()); });
  const QJsonObject ofFirst = run(first.options());
  other.join();
  EXPECT_EQ(ofFirst[u"updates"_s][u"current"_s], u"First"_s);
  EXPECT_EQ(ofSecond[u"updates"_s][u"current"_s], u"Second"_s);
}

TEST(LinuxReportTest, whatToolsPrintCannotMakeTheReportBig) {
  SyntheticMachine machine;
  machine.tool(u"balooctl"_s);
  machine.tool(u"nmcli"_s);
  machine.file(u"/run/dbus/system_bus_socket"_s, "");
  // Surrogate pairs: a cut must not split one.
  machine.answer(u"balooctl"_s, u"x"_s + u"\U0001F600"_s.repeated(100'000));
  QString tunnels;
  for (int i = 0; i < 5000; ++i) tunnels += u"tunnel%1:vpn:eth0\n"_s.arg(i);
  machine.answer(u"connection show"_s, tunnels);
  Options options = machine.options();
  options.environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/x"_s);
  const QJsonObject report = run(options);
  EXPECT_EQ(report[u"storage"_s][u"spotlightStatus"_s].toString().size(), 999);
  EXPECT_EQ(report[u"network"_s][u"vpn"_s].toArray().size(), 120);
  const QByteArray json = QJsonDocument(report).toJson(QJsonDocument::Compact);
  EXPECT_LT(json.size(), 64'000);
  EXPECT_EQ(QJsonDocument::fromJson(json).object(), report);
}

TEST(LinuxReportTest, manyLongLinesTogetherStillFitIntoOneMessage) {
  SyntheticMachine machine;
  machine.tool(u"apt"_s);
  machine.tool(u"nmcli"_s);
  machine.file(u"/var/lib/dpkg/status"_s, "");
  machine.file(u"/run/dbus/system_bus_socket"_s, "");
  machine.file(u"/etc/os-release"_s, "PRETTY_NAME=System\n");
  // Control characters take six bytes each in JSON.
  QString updates;
  QString tunnels;
  for (int i = 0; i < 500; ++i) {
    updates += u"package%1/stable [upgradable from: "_s.arg(i) + QString(900, QChar(1)) + u"]\n"_s;
    tunnels += QString(900, QChar(1)) + u"%1:vpn:eth0\n"_s.arg(i);
  }
  machine.answer(u"apt"_s, updates);
  machine.answer(u"connection show"_s, tunnels);
  const QJsonObject report = run(machine.options());
  expectAllSections(report);
  EXPECT_LE(QJsonDocument(report).toJson(QJsonDocument::Compact).size(), 64'000);
  EXPECT_EQ(report[u"updates"_s][u"current"_s], u"System"_s);
  EXPECT_GT(report[u"updates"_s][u"available"_s].toArray().size(), 20);
  EXPECT_TRUE(report[u"updates"_s][u"available"_s][0].toString().startsWith("package0/stable"_L1));
}

}  // namespace
}  // namespace vantora::Diagnostics
