#include <gtest/gtest.h>

#include <string>

#include "main/telemetry/system/linux/LinuxFigures.h"
#include "main/telemetry/system/linux/ProcText.h"
#include "tests/unit/telemetry/system/linux/ProcTree.h"

namespace vantora::proctext {
namespace {

// The whole machine's load

TEST(ParseStat, readsTheLineForAllProcessors) {
  const auto ticks = parseStat("cpu  100 20 30 400 50 6 7 8 9 10\ncpu0 1 1 1 1 1 1 1 1 1 1\n");
  ASSERT_TRUE(ticks);
  EXPECT_EQ(ticks->total, 621U) << "time of guests is part of the first two";
  EXPECT_EQ(ticks->idle, 450U);
  EXPECT_EQ(ticks->processes, 150U);
}

TEST(ParseStat, copesWithOldKernelsAndOtherOrders) {
  const auto ticks = parseStat("cpu0 9 9 9 9\ncpu 1 2 3 4\n");
  ASSERT_TRUE(ticks);
  EXPECT_EQ(ticks->total, 10U);
  EXPECT_EQ(ticks->idle, 4U);
}

TEST(ParseStat, isNothingWithoutThatLine) {
  for (const char* text : {"", "cpu0 1 2 3 4", "cpu", "cpu 1 2 3", "cpu 1 2 x 4", "cpu 1 2 -3 4", "CPU 1 2 3 4"}) {
    EXPECT_FALSE(parseStat(text)) << text;
  }
}

TEST(CpuPercent, isTheShareThatWasNotIdle) {
  EXPECT_EQ(cpuPercent({1000, 500, 0}, {1200, 550, 0}), 75);
  EXPECT_EQ(cpuPercent({1000, 500, 0}, {1200, 700, 0}), 0);
  EXPECT_EQ(cpuPercent({1000, 500, 0}, {1200, 500, 0}), 100);
}

TEST(CpuPercent, isClampedWhenCountersGoBackwards) {
  EXPECT_EQ(cpuPercent({1000, 500, 0}, {1100, 490, 0}), 100);
  EXPECT_EQ(cpuPercent({1000, 500, 0}, {1100, 700, 0}), 0);
}

TEST(CpuPercent, isNothingWhenNoTimePassed) {
  EXPECT_EQ(cpuPercent({1000, 500, 0}, {1000, 500, 0}), std::nullopt);
  EXPECT_EQ(cpuPercent({1000, 500, 0}, {900, 500, 0}), std::nullopt);
}

// Memory

TEST(ParseMeminfo, countsWhatIsNotFree) {
  EXPECT_EQ(parseMeminfo("MemTotal:       24683916 kB\nMemFree:        19000000 kB\nMemAvailable:   22000000 kB\n"),
            (MemoryFigures{24683916ULL * 1024, 5683916ULL * 1024}));
}

TEST(ParseMeminfo, isZeroUsedWhenMoreIsFreeThanExists) {
  EXPECT_EQ(parseMeminfo("MemTotal: 10 kB\nMemFree: 11 kB\n"), (MemoryFigures{10240, 0}));
}

TEST(ParseMeminfo, isNothingWithoutBothFigures) {
  for (const char* text : {"", "MemTotal: 10 kB", "MemFree: 5 kB", "MemTotal: x kB\nMemFree: 5 kB",
                           "MemTotal:\nMemFree: 5 kB", "MemTotal: -1 kB\nMemFree: 5 kB"}) {
    EXPECT_EQ(parseMeminfo(text), std::nullopt) << text;
  }
}

// Network

constexpr const char* kHeading =
    "Inter-|   Receive                                                |  Transmit\n"
    " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs drop fifo colls carrier "
    "compressed\n";

TEST(ParseNetDev, addsUpAllInterfacesButTheLoopbackOne) {
  const std::string text = std::string(kHeading) +
                           "    lo: 999 1 0 0 0 0 0 0 999 1 0 0 0 0 0 0\n"
                           "  eth0:1000 1 0 0 0 0 0 0 200 1 0 0 0 0 0 0\n"
                           "wlp2s0: 30 1 0 0 0 0 0 0 4 1 0 0 0 0 0 0\n"
                           "  lo0: 5 1 0 0 0 0 0 0 6 1 0 0 0 0 0 0\n";
  EXPECT_EQ(parseNetDev(text), (NetworkTotals{1035, 210}));
}

TEST(ParseNetDev, aMachineWithoutOtherInterfacesHasNoTraffic) {
  EXPECT_EQ(parseNetDev(std::string(kHeading) + "    lo: 999 1 0 0 0 0 0 0 999 1 0 0 0 0 0 0\n"),
            (NetworkTotals{0, 0}));
}

TEST(ParseNetDev, theSumWrapsAround) {
  EXPECT_EQ(parseNetDev(std::string(kHeading) + "a: 18446744073709551615 0 0 0 0 0 0 0 5 0\nb: 3 0 0 0 0 0 0 0 6 0\n"),
            (NetworkTotals{2, 11}));
}

TEST(ParseNetDev, passesOverLinesItCannotRead) {
  EXPECT_EQ(parseNetDev(std::string(kHeading) + "a: x 0 0 0 0 0 0 0 5 0\nb: 3 0 0\nc: 7 0 0 0 0 0 0 0 8 0\n"),
            (NetworkTotals{7, 8}));
  EXPECT_EQ(parseNetDev(""), std::nullopt);
  EXPECT_EQ(parseNetDev(kHeading), std::nullopt);
}

// Processes

TEST(ParseProcessStat, readsTheFigures) {
  const QByteArray line = ProcTree::statLine(42, "name", 77, 1234, 5678);
  const auto stat = parseProcessStat(line.toStdString());
  ASSERT_TRUE(stat);
  EXPECT_EQ(stat->pid, 42);
  EXPECT_EQ(stat->cpuTicks, 77U);
  EXPECT_EQ(stat->startTicks, 5678U);
  EXPECT_EQ(stat->rssPages, 1234U);
}

TEST(ParseProcessStat, namesMayHoldAnything) {
  for (const std::string name : {"a b", ") S 1 2 (", "line\nbreak", "\xff\xfe", "", "((((", "))))", "tab\there"}) {
    const std::string line = ProcTree::statLine(7, QByteArray::fromStdString(name), 5, 6, 8).toStdString();
    const auto stat = parseProcessStat(line);
    ASSERT_TRUE(stat) << name;
    EXPECT_EQ(stat->name, name);
    EXPECT_EQ(stat->pid, 7);
    EXPECT_EQ(stat->cpuTicks, 5U);
    EXPECT_EQ(stat->startTicks, 8U);
  }
}

TEST(ParseProcessStat, tellsWhetherTheProcessWaitsInTheKernel) {
  for (const char state : {'R', 'S', 'Z', 'T', 'I', 'D'}) {
    // A name that looks like a state changes nothing.
    const std::string line = ProcTree::statLine(7, state == 'D' ? ") S 1" : ") D 1", 5, 6, 8, state).toStdString();
    const auto stat = parseProcessStat(line);
    ASSERT_TRUE(stat);
    EXPECT_EQ(stat->uninterruptible, state == 'D') << state;
  }
}

TEST(ParseProcessStat, isNothingForALineCutShort) {
  const std::string whole = ProcTree::statLine(42, "name", 77, 1234, 5678).toStdString();
  const auto figures = whole.find(" 5678");
  for (std::size_t size = 0; size <= figures; ++size) EXPECT_FALSE(parseProcessStat(whole.substr(0, size))) << size;
  for (const char* text : {"x (n) S", "0 (n) S 1", "2147483648 (n) S", ")(", "-5 (n) S 1 1 1 1 1 1 1 1"}) {
    EXPECT_FALSE(parseProcessStat(text)) << text;
  }
}

// Disk

TEST(DiskFigures, areCountedAsDfDoes) {
  struct statvfs volume {};
  volume.f_frsize = 4096;
  volume.f_blocks = 1000;
  volume.f_bfree = 400;
  volume.f_bavail = 350;  // fifty are reserved for the administrator
  EXPECT_EQ(diskFigures(volume), (DiskFigures{64, 4'096'000, 2'457'600})) << "600 of 950, rounded up";
  volume.f_bfree = volume.f_blocks;
  volume.f_bavail = 950;
  EXPECT_EQ(diskFigures(volume)->usedPct, 0);
  volume.f_bfree = 0;
  volume.f_bavail = 0;
  EXPECT_EQ(diskFigures(volume)->usedPct, 100);
  volume.f_blocks = 0;
  EXPECT_EQ(diskFigures(volume), std::nullopt);
}

}  // namespace
}  // namespace vantora::proctext
