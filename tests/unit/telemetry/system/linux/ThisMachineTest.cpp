// The figures of the machine that runs the test, compared with the kernel's own.
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>

#include "base/WorkerThreads.h"
#include "main/telemetry/system/MachineStatistics.h"
#include "main/telemetry/system/linux/LinuxFigures.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/Processes.h"
#include "tests/fakes/SleepingProcesses.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// Uses a processor during its lifetime.
class BusyThread {
 public:
  ~BusyThread() { stop_ = true; }

 private:
  std::atomic<bool> stop_ = false;
  std::jthread thread_{[this] {
    while (!stop_) {
    }
  }};
};

const ProcessFigures* find(const SystemFigures& figures, qint64 pid) {
  const auto found = std::ranges::find_if(figures.top, [pid](const ProcessFigures& each) { return each.pid == pid; });
  return found == figures.top.end() ? nullptr : &*found;
}

TEST(ThisMachine, memoryIsWhatTheKernelCounts) {
  LinuxFigures machine(LinuxFigures::Sources::ofThisMachine());
  // Other programs may allocate or free much memory between the two readings.
  EXPECT_TRUE(becomesTrue([&] {
    const auto memory = machine.collect({}).memory;
    struct sysinfo info {};
    if (sysinfo(&info) != 0 || !memory) return false;
    EXPECT_EQ(memory->totalBytes, static_cast<quint64>(info.totalram) * info.mem_unit);
    const double free = static_cast<double>(info.freeram) * info.mem_unit;
    const double counted = static_cast<double>(memory->totalBytes - memory->usedBytes);
    return std::abs(counted - free) <= 0.2 * static_cast<double>(memory->totalBytes);
  }));
}

TEST(ThisMachine, theDiskIsWhatTheKernelCounts) {
  LinuxFigures machine(LinuxFigures::Sources::ofThisMachine());
  const auto disk = machine.collect({}).disk;
  struct statvfs volume {};
  ASSERT_EQ(statvfs("/", &volume), 0);
  ASSERT_TRUE(disk);
  EXPECT_EQ(disk->totalBytes, static_cast<quint64>(volume.f_blocks) * volume.f_frsize);
  EXPECT_GT(disk->usedBytes, 0U);
  EXPECT_LE(disk->usedBytes, disk->totalBytes);
}

TEST(ThisMachine, aBusyProcessIsSeenWithItsShare) {
  LinuxFigures machine(LinuxFigures::Sources::ofThisMachine());
  const BusyThread busy;
  // A busy machine gives it less time, but does not starve it for long.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  const ProcessFigures* self = nullptr;
  SystemFigures figures;
  do {
    figures = machine.collect({});
    self = find(figures, getpid());
    if (!self || self->cpuPct < 10) std::this_thread::yield();
  } while ((!self || self->cpuPct < 10) && std::chrono::steady_clock::now() < deadline);
  ASSERT_TRUE(self);
  EXPECT_GE(self->cpuPct, 10);
  EXPECT_LE(self->cpuPct, 100.0 * std::thread::hardware_concurrency() + 50);
  ASSERT_TRUE(figures.cpuPct);
  EXPECT_GT(*figures.cpuPct, 0);
  EXPECT_LE(*figures.cpuPct, 100);
  EXPECT_TRUE(std::ranges::is_sorted(figures.top, std::greater<>(), &ProcessFigures::cpuPct));
  EXPECT_LE(figures.top.size(), LinuxFigures::kTop);

  QFile resident(u"/proc/self/statm"_s);
  ASSERT_TRUE(resident.open(QIODevice::ReadOnly));
  const double pages = resident.readAll().split(' ').value(1).toDouble();
  EXPECT_NEAR(static_cast<double>(self->rssBytes), pages * static_cast<double>(sysconf(_SC_PAGESIZE)),
              0.5 * static_cast<double>(self->rssBytes));
}

TEST(ThisMachine, anApplicationIsKnownByItsDesktopEntry) {
  const QTemporaryDir folder;
  const QString program = QFileInfo(u"/proc/self/exe"_s).canonicalFilePath();
  QFile entry(folder.filePath(u"test.desktop"_s));
  ASSERT_TRUE(entry.open(QIODevice::WriteOnly));
  entry.write("[Desktop Entry]\nType=Application\nName=A Test \xc3\xa4\nExec=\"" + QFile::encodeName(program) + "\"\n");
  entry.close();
  LinuxFigures::Sources sources = LinuxFigures::Sources::ofThisMachine();
  sources.applications = {.folders = {folder.path()}, .programFolders = {}, .locale = {}};
  LinuxFigures machine(std::move(sources));
  const BusyThread busy;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  SystemFigures figures;
  while (!find(figures, getpid()) && std::chrono::steady_clock::now() < deadline) figures = machine.collect({});
  const ProcessFigures* const self = find(figures, getpid());
  ASSERT_TRUE(self);
  EXPECT_EQ(self->name, u"A Test ä"_s);
  EXPECT_EQ(self->application, (RunningApplication{u"A Test ä"_s, program, entry.fileName()}));
}

TEST(ThisMachine, isCollectedOnAWorkerAndWithNetworkRatesFromTheSecondTimeOn) {
  testloop::ensureApplication();
  WorkerThreads thread("test-stats", 1);
  const TaskStarter collect = machineStatistics(thread);
  QList<JsonObject> results;
  const auto once = [&] {
    const qsizetype before = results.size();
    const auto task = collect([&](const JsonObject& result) { results.append(result); });
    return testloop::waitFor([&] { return results.size() > before; });
  };
  ASSERT_TRUE(once());
  ASSERT_TRUE(once());
  EXPECT_FALSE(results[0].contains(u"netRxKbps"));
  EXPECT_FALSE(results[0].contains(u"netTxKbps"));
  EXPECT_GE(results[1].value(u"netRxKbps").toDouble(-1), 0);
  EXPECT_GE(results[1].value(u"netTxKbps").toDouble(-1), 0);
  for (const QString& key : {u"memTotalBytes"_s, u"memUsedBytes"_s, u"disk"_s, u"top"_s}) {
    EXPECT_TRUE(results[0].contains(key)) << key.toStdString();
  }
}

TEST(ThisMachine, thousandsOfSleepingProcessesCostLittle) {
  const fakes::SleepingProcesses sleepers(2000);
  ASSERT_EQ(sleepers.count(), 2000U);
  ProcessTable table("/proc", 100);
  double now = 1;
  table.sample(now, 0, true);
  EXPECT_GE(table.size(), 2000U);
  table.sample(++now, 0, true);
  table.sample(++now, 0, false);
  EXPECT_LT(table.readCount(), 500U);
  EXPECT_GE(table.size(), 2000U);
}

}  // namespace
}  // namespace vantora
