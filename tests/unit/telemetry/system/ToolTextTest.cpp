// Parsing the output of the system tools.
#include <gtest/gtest.h>

#include "main/telemetry/system/ToolText.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora::tooltext {
namespace {

const QString kVmStat =
    uR"(Mach Virtual Memory Statistics: (page size of 16384 bytes)
Pages free:                               10000.
Pages active:                            250000.
Pages speculative:                         2000.
"Translation faults":                 123456789.
)"_s;
const QString kDf = u"/dev/disk3s1s1 971350180 14959312 500000000 3% 404475 4293 100% /\n"_s;

// The whole machine's load

TEST(ParseCpuPercent, isTheSumSharedAmongTheProcessors) {
  EXPECT_EQ(parseCpuPercent(u"50.5\n"_s, 2), 25.25);
  EXPECT_EQ(parseCpuPercent(u" 84.4 \n"_s, 8), 10.55);
  EXPECT_EQ(parseCpuPercent(u"0"_s, 8), 0);
}

TEST(ParseCpuPercent, isClamped) {
  EXPECT_EQ(parseCpuPercent(u"1250"_s, 8), 100);
  EXPECT_EQ(parseCpuPercent(u"800.1"_s, 8), 100);
  EXPECT_EQ(parseCpuPercent(u"-3"_s, 8), 0);
}

TEST(ParseCpuPercent, takesAtLeastOneProcessor) {
  EXPECT_EQ(parseCpuPercent(u"50"_s, 0), 50);
  EXPECT_EQ(parseCpuPercent(u"50"_s, -4), 50);
}

TEST(ParseCpuPercent, isNothingWithoutANumber) {
  for (const QString& text : {u""_s, u"\n"_s, u"s"_s, u"12,5"_s, u"12 5"_s, u"nan"_s, u"inf"_s}) {
    EXPECT_EQ(parseCpuPercent(text, 8), std::nullopt) << text.toStdString();
  }
}

// Memory

TEST(ParseMem, countsWhatIsNotFree) {
  constexpr quint64 kTotal = 17'179'869'184;
  EXPECT_EQ(parseMem(kVmStat, kTotal), (MemoryFigures{kTotal, kTotal - 12'000ULL * 16384}));
}

TEST(ParseMem, takesPagesOf4096BytesWithoutAPageSize) {
  for (const QString& head :
       {u""_s, u"(page size 16384 bytes)"_s, u"(page size of 16384 byte"_s, u"(page size of x bytes)"_s,
        u"(page size of  bytes)"_s, u"(page size of -1 bytes)"_s, u"(page size of 99999999999999999999 bytes)"_s}) {
    EXPECT_EQ(parseMem(head + u"\nPages free: 3.\n"_s, 100'000).usedBytes, 100'000U - 3 * 4096) << head.toStdString();
  }
}

TEST(ParseMem, countsAMissingLineAsNothing) {
  EXPECT_EQ(parseMem(u"Pages free: 5."_s, 100'000).usedBytes, 100'000U - 5 * 4096);
  EXPECT_EQ(parseMem(u"Pages speculative: 7."_s, 100'000).usedBytes, 100'000U - 7 * 4096);
  EXPECT_EQ(parseMem(QString(), 100'000), (MemoryFigures{100'000, 100'000}));
  EXPECT_EQ(parseMem(u"Pages free: none"_s, 100'000).usedBytes, 100'000U);
}

TEST(ParseMem, takesTheFirstLineThatHasTheLabelAndAllOfItsDigits) {
  EXPECT_EQ(parseMem(u"xx Pages free 1 2.\nPages free: 20."_s, 100'000).usedBytes, 100'000U - 12 * 4096);
}

TEST(ParseMem, isZeroUsedWhenMoreIsFreeThanExists) {
  EXPECT_EQ(parseMem(u"Pages free: 25."_s, 100'000).usedBytes, 0U);
  EXPECT_EQ(parseMem(u"Pages free: 18446744073709551615.\nPages speculative: 18446744073709551615."_s, 100'000),
            (MemoryFigures{100'000, 0}));
  EXPECT_EQ(parseMem(u"(page size of 18446744073709551615 bytes)\nPages free: 2."_s, 100'000).usedBytes, 0U);
}

TEST(ParseMem, copesWithPagesOfNoSize) {
  EXPECT_EQ(parseMem(u"(page size of 0 bytes)\nPages free: 2."_s, 100'000).usedBytes, 100'000U);
}

// Disk

TEST(ParseDisk, readsSizesAndThePrintedShare) {
  EXPECT_EQ(parseDisk(kDf), (DiskFigures{3, 971350180ULL * 1024, 14959312ULL * 1024}));
  EXPECT_EQ(parseDisk(u"overlay 10 5 5 50.5%% / more"_s), (DiskFigures{50.5, 10240, 5120}));
}

TEST(ParseDisk, needsSixFields) {
  EXPECT_EQ(parseDisk(u"/dev/disk1 10 5 5 50%"_s), std::nullopt);
  EXPECT_EQ(parseDisk(u""_s), std::nullopt);
  EXPECT_TRUE(parseDisk(u"\t/dev/disk1  10\t5 5 50% / \n"_s));
}

TEST(ParseDisk, isNothingWhenAFieldIsNoNumber) {
  for (const QString& line : {u"d x 5 5 50% /"_s, u"d 10 x 5 50% /"_s, u"d 10 5 5 - /"_s, u"d 10 5 5 % /"_s,
                              u"d -10 5 5 50% /"_s, u"d 10.5 5 5 50% /"_s, u"d 10 5 5 nan% /"_s,
                              u"d 18446744073709551615 5 5 50% /"_s, u"d 99999999999999999999 5 5 50% /"_s}) {
    EXPECT_EQ(parseDisk(line), std::nullopt) << line.toStdString();
  }
}

// Network

TEST(ParseNetTotals, readsTwoNumbers) {
  EXPECT_EQ(parseNetTotals(u"123 456\n"_s), (NetworkTotals{123, 456}));
  EXPECT_EQ(parseNetTotals(u"  1\n18446744073709551615 x"_s), (NetworkTotals{1, 18446744073709551615ULL}));
}

TEST(ParseNetTotals, isNothingWithoutThem) {
  for (const QString& text : {u""_s, u" \n"_s, u"5"_s, u"5 "_s, u"-1 5"_s, u"5 x"_s, u"5.5 5"_s, u"1e9 5"_s,
                              u"18446744073709551616 1"_s, u"+5 5"_s}) {
    EXPECT_EQ(parseNetTotals(text), std::nullopt) << text.toStdString();
  }
}

// Processes

TEST(ParseTop, readsTheLinesBehindTheHeaderInTheirOrder) {
  const auto top =
      parseTop(u"  PID COMM              RSS  %CPU\n  42 /usr/sbin/busy  2048  93.5\n\n   7 calm 16 0.0\n"_s, nullptr);
  ASSERT_EQ(top.size(), 2U);
  EXPECT_EQ(top[0], (ProcessFigures{42, u"busy"_s, 2048 * 1024, 93.5, std::nullopt}));
  EXPECT_EQ(top[1], (ProcessFigures{7, u"calm"_s, 16 * 1024, 0, std::nullopt}));
}

TEST(ParseTop, dropsTheFirstLineWhateverItIs) {
  EXPECT_TRUE(parseTop(u"42 busy 2048 93.5"_s, nullptr).empty());
  EXPECT_TRUE(parseTop(QString(), nullptr).empty());
}

TEST(ParseTop, aCommandMayHoldBlanks) {
  const auto top = parseTop(u"h\n5 /Applications/My App/Some (Helper) Tool 100 1.5"_s, nullptr);
  ASSERT_EQ(top.size(), 1U);
  EXPECT_EQ(top[0], (ProcessFigures{5, u"Some (Helper) Tool"_s, 102'400, 1.5, std::nullopt}));
}

TEST(ParseTop, passesOverLinesItCannotRead) {
  for (const QString& line : {u"5 name 100"_s, u"5"_s, u"x name 100 1"_s, u"2147483648 name 100 1"_s, u"5 name x 1"_s,
                              u"5 name -1 1"_s, u"5.5 name 100 1"_s}) {
    EXPECT_TRUE(parseTop(u"h\n"_s + line, nullptr).empty()) << line.toStdString();
  }
  EXPECT_EQ(parseTop(u"h\n5 name\n6 name 100 2"_s, nullptr).size(), 1U);
}

TEST(ParseTop, takesIdsOf32BitsWithASign) {
  const auto top = parseTop(u"h\n2147483647 a 1 1\n-2147483648 b 1 1"_s, nullptr);
  ASSERT_EQ(top.size(), 2U);
  EXPECT_EQ(top[0].pid, 2147483647);
  EXPECT_EQ(top[1].pid, -2147483647 - 1);
}

TEST(ParseTop, countsAShareThatIsNoNumberAsZero) {
  for (const QString& share : {u"-"_s, u"nan"_s, u"1,5"_s}) {
    const auto top = parseTop(u"h\n5 name 100 "_s + share, nullptr);
    ASSERT_EQ(top.size(), 1U);
    EXPECT_EQ(top[0].cpuPct, 0);
  }
}

TEST(ParseTop, asksForTheApplicationOfEachProcess) {
  const RunningApplication application{u"Browser"_s, u"/A/Browser.app/x"_s, u"/A/Browser.app"_s};
  const auto top = parseTop(u"h\n5 /usr/bin/a 1 1\n6 /usr/bin/b 1 1"_s,
                            [&](qint32 pid) { return pid == 6 ? std::optional(application) : std::nullopt; });
  ASSERT_EQ(top.size(), 2U);
  EXPECT_EQ(top[0].name, u"a"_s);
  EXPECT_FALSE(top[0].application);
  EXPECT_EQ(top[1].name, u"Browser"_s);
  EXPECT_EQ(top[1].application, application);
}

}  // namespace
}  // namespace vantora::tooltext
