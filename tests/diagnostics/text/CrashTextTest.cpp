#include <QJsonObject>

#include "Diagnostics/text/CrashText.h"
#include "tests/diagnostics/Printing.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

Crash crash(const QString& name, int secondsAgo, qint64 pid = 0) {
  return {u"/cores/"_s + name, name, QDateTime::fromSecsSinceEpoch(1'700'000'000 - secondsAgo), pid};
}

TEST(CrashTextTest, readsTheNamesOfCoreFiles) {
  const auto found =
      parseCoreFile(u"/c"_s, u"core.Web\\x20Content.1000.0123456789abcdef0123456789abcdef.4321.1700000000123456.zst"_s);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->name, u"Web Content"_s);
  EXPECT_EQ(found->pid, 4321);
  EXPECT_EQ(found->time.toSecsSinceEpoch(), 1'700'000'000);
  EXPECT_EQ(found->file, u"/c/core.Web\\x20Content.1000.0123456789abcdef0123456789abcdef.4321.1700000000123456.zst"_s);
  for (const QString& name :
       {u"core"_s, u"core.x.1.b.notapid.1"_s, u"core.x.1.b.2.never"_s, u"note.x.1.b.2.3"_s, u"core..1.b.2.3"_s}) {
    EXPECT_FALSE(parseCoreFile(u"/c"_s, name)) << name.toStdString();
  }
}

TEST(CrashTextTest, readsApportReports) {
  EXPECT_EQ(
      apportName(u"_usr_bin_gnome_shell.1000.crash"_s, u"ProblemType: Crash\nExecutablePath: /usr/bin/gnome_shell\n"_s),
      u"gnome_shell"_s);
  EXPECT_EQ(apportName(u"_usr_bin_gedit.1000.crash"_s, QString()), u"gedit"_s);
  EXPECT_EQ(apportName(u"_opt_app.real.1000.crash"_s, QString()), u"app.real"_s);
}

TEST(CrashTextTest, readsCoredumpctl) {
  const auto rows = parseCoredumpctl(
      uR"([{"time":1700000000123456,"pid":4321,"uid":1000,"gid":1000,"sig":11,"corefile":"present","exe":"/usr/bin/my app","size":12},{"time":"x"}])"_s);
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].name, u"my app"_s);
  EXPECT_EQ(rows[0].pid, 4321);
  EXPECT_EQ(rows[0].time.toSecsSinceEpoch(), 1'700'000'000);
}

TEST(CrashTextTest, readsTheTableOfOlderCoredumpctl) {
  const auto rows = parseCoredumpctl(
      u"Tue 2023-11-14 23:13:20 CET 4321 1000 1000 SIGSEGV present   /usr/bin/my app  1.2M\n"
      "Tue 2023-11-14 23:13:21 CET 4322 1000 1000 SIGABRT missing   /usr/bin/other     -\n"
      "Tue 2023-11-14 23:13:22 CET 4323 1000 1000 SIGABRT none   /usr/bin/third\nNo coredumps found."_s);
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(rows[0].file, u"/usr/bin/my app"_s);
  EXPECT_EQ(rows[0].name, u"my app"_s);
  EXPECT_EQ(rows[0].time.toString(u"yyyy-MM-ddTHH:mm:ss"_s), u"2023-11-14T23:13:20"_s);
  EXPECT_EQ(rows[1].name, u"other"_s);
  EXPECT_EQ(rows[2].name, u"third"_s);
}

TEST(CrashTextTest, aCrashReportedTwiceCountsOnceWithItsFile) {
  const Crash stored{u"/cores/core.chromium-browse"_s, u"chromium-browse"_s,
                     QDateTime::fromSecsSinceEpoch(1'700'000'000), 7};
  const Crash listed{u"/usr/bin/chromium-browser"_s, u"chromium-browser"_s,
                     QDateTime::fromSecsSinceEpoch(1'700'000'002), 7};
  const auto merged = mergedCrashes({stored}, {listed, crash(u"later"_s, -100, 8)});
  ASSERT_EQ(merged.size(), 2u);
  EXPECT_EQ(merged[0].name, u"later"_s) << "the newest comes first";
  EXPECT_EQ(merged[1].file, u"/cores/core.chromium-browse"_s);
  EXPECT_EQ(merged[1].name, u"chromium-browser"_s) << "the name that is not cut off";
  EXPECT_EQ(mergedCrashes({crash(u"a"_s, 0, 7)}, {crash(u"a"_s, 3600, 7)}).size(), 2u) << "an id may come again";
}

// A line of the journal.
QString kernelSays(const QString& message) { return u"1700000000.123456 desk kernel: "_s + message + u'\n'; }

TEST(CrashTextTest, readsWhatTheKernelSaysOfProgramsItEnds) {
  struct Case {
    QString message;
    QString name;
    qint64 pid;
    QString file;
  };
  const Case cases[] = {
      {u"firefox-esr[4242]: segfault at 0 ip 00007f1a2b3c4d5e sp 00007ffc01234567 error 4 in libxul.so[7f1a28000000+6400000] likely on CPU 2 (core 2, socket 0)"_s,
       u"firefox-esr"_s, 4242, u"libxul.so"_s},
      {u"gedit[77]: segfault at 7fffdeadbeef ip 000055d0c0ffee00 sp 00007ffd00000010 error 6"_s, u"gedit"_s, 77,
       u"gedit"_s},
      {u"soffice.bin[9]: segfault at 10 ip 00007f0000001234 sp 00007ffe00000000 error 4 in libvcl lo.so[2f1234,7f0000000000+800000]"_s,
       u"soffice.bin"_s, 9, u"libvcl lo.so"_s},
      {u"traps: chrome[1234] general protection fault ip:7f0011223344 sp:7ffc99887766 error:0 in libc.so.6[7f0011200000+155000]"_s,
       u"chrome"_s, 1234, u"libc.so.6"_s},
      {u"traps: old-kernel[5] general protection ip:7f0011223344 sp:7ffc99887766 error:0 in libc-2.28.so[7f0011200000+148000]"_s,
       u"old-kernel"_s, 5, u"libc-2.28.so"_s},
      {u"traps: electron[88] trap invalid opcode ip:55d0c0ffee00 sp:7ffd00000010 error:0 in electron[55d0b0000000+8000000]"_s,
       u"electron"_s, 88, u"electron"_s},
      {u"traps: a.out[6] trap divide error ip:401136 sp:7ffd00000010 error:0 in a.out[401000+1000]"_s, u"a.out"_s, 6,
       u"a.out"_s},
      {u"traps: V8 Worker[31] trap int3 ip:55d0c0ffee00 sp:7ffd00000010 error:0"_s, u"V8 Worker"_s, 31, u"V8 Worker"_s},
      {u"Web Content[12]: segfault at 8 ip 00007f1a2b3c4d5e sp 00007ffc01234567 error 4 in libc.so.6[7f1a28000000+64000]"_s,
       u"Web Content"_s, 12, u"libc.so.6"_s},
      {u"a[b] c[3][13]: segfault at 8 ip 00007f1a2b3c4d5e sp 00007ffc01234567 error 14"_s, u"a[b] c[3]"_s, 13,
       u"a[b] c[3]"_s},
      {u"[x]: segfault[14]: segfault at 8 ip 00007f1a2b3c4d5e sp 00007ffc01234567 error 14"_s, u"[x]: segfault"_s, 14,
       u"[x]: segfault"_s},
      {u"traps: in t[1][15] trap stack segment ip:401136 sp:7ffd00000010 error:0"_s, u"in t[1]"_s, 15, u"in t[1]"_s},
  };
  for (const Case& each : cases) {
    const auto found = parseKernelCrashes(kernelSays(each.message));
    ASSERT_EQ(found.size(), 1U) << each.message.toStdString();
    EXPECT_EQ(found[0].name, each.name);
    EXPECT_EQ(found[0].pid, each.pid);
    EXPECT_EQ(found[0].file, each.file);
    EXPECT_EQ(found[0].time.toMSecsSinceEpoch(), 1'700'000'000'123);
  }
}

TEST(CrashTextTest, leavesOutWhatElseTheKernelSays) {
  for (const QString& message :
       {u"show_signal_msg: 12 callbacks suppressed"_s, u"Code: 48 8b 05 segfault at"_s,
        u"traps: Missing ENDBR: func+0x0/0x10"_s, u"audit: type=1701 comm=\"x\" sig=11"_s,
        u"x[y]: segfault at 0 ip 00 sp 00 error 4"_s, u"x[99999999999999999999]: segfault at 0 ip 00 sp 00 error 4"_s,
        u"Out of memory: Killed process 12 (x)"_s, u"[1]: segfault at 0 ip 00 sp 00 error 4"_s}) {
    EXPECT_TRUE(parseKernelCrashes(kernelSays(message)).empty()) << message.toStdString();
  }
  for (const QString& line :
       {QString(), u"-- No entries --"_s, u"-- Boot 0123 --"_s, u"x[1]: segfault at 0 ip 00 sp 00 error 4"_s,
        u"soon desk kernel: x[1]: segfault at 0 ip 00 sp 00 error 4"_s,
        u"1700000000.123456 desk sshd[1]: x[1]: segfault at 0 ip 00 sp 00 error 4"_s}) {
    EXPECT_TRUE(parseKernelCrashes(line).empty()) << line.toStdString();
  }
}

TEST(CrashTextTest, aCrashThatTheKernelReportedAsWellCountsOnce) {
  const Crash stored{u"/cores/core.chromium-browse"_s, u"chromium-browser"_s,
                     QDateTime::fromSecsSinceEpoch(1'700'000'000), 7};
  const auto merged = mergedCrashes(
      {stored}, {crash(u"listed"_s, 5, 8)},
      {crash(u"chromium-browse"_s, 1, 7), crash(u"listed"_s, 5, 8), crash(u"new"_s, -9, 9), crash(u"new"_s, -9, 9)});
  ASSERT_EQ(merged.size(), 3U);
  EXPECT_EQ(merged[0].name, u"new"_s);
  EXPECT_EQ(merged[1].name, u"chromium-browser"_s);
  EXPECT_EQ(merged[1].file, u"/cores/core.chromium-browse"_s);
  EXPECT_EQ(merged[2].name, u"listed"_s);
}

TEST(CrashTextTest, pairsAReportWithoutAnIdWithTheKernelsLineByName) {
  const std::vector<Crash> reports = {crash(u"gnome-control-center"_s, 0), crash(u"gedit"_s, 0)};
  const auto merged = mergedCrashes(
      reports, {}, {crash(u"gnome-control-c"_s, 3, 70), crash(u"gedit"_s, 2, 71), crash(u"eog"_s, 1, 72)});
  ASSERT_EQ(merged.size(), 3U);
  EXPECT_EQ(merged[0].name, u"gnome-control-center"_s);
  EXPECT_EQ(merged[1].name, u"gedit"_s);
  EXPECT_EQ(merged[1].pid, 0) << "the report, not the line";
  EXPECT_EQ(merged[2].name, u"eog"_s);
  EXPECT_EQ(mergedCrashes({crash(u"gedit"_s, 0)}, {}, {crash(u"gedit"_s, 3600, 71)}).size(), 2U) << "an hour before";
}

TEST(CrashTextTest, pairsACrashOutsideTheMainThread) {
  EXPECT_EQ(mergedCrashes({crash(u"soffice.bin"_s, 0, 40)}, {}, {crash(u"soffice.bin"_s, 1, 44)}).size(), 1U);
  // The core file has the thread's name, and the core service that of the program.
  const auto merged =
      mergedCrashes({crash(u"V8 Worker"_s, 0, 50)}, {crash(u"chromium"_s, 0, 50)}, {crash(u"V8 Worker"_s, 1, 55)});
  ASSERT_EQ(merged.size(), 1U);
  EXPECT_EQ(merged[0].name, u"chromium"_s);
}

TEST(CrashTextTest, pairsEachReportWithOneLineOfTheKernel) {
  // Three crashes within a minute, of which only the last was kept.
  const auto merged = mergedCrashes({crash(u"gedit"_s, 0)}, {},
                                    {crash(u"gedit"_s, 40, 7), crash(u"gedit"_s, 20, 8), crash(u"gedit"_s, 1, 9)});
  EXPECT_EQ(merged.size(), 3U);
  // The line with the core's id belongs to it, whichever comes first.
  const auto both = mergedCrashes({crash(u"gedit"_s, 0, 9), crash(u"gedit"_s, 10, 7)}, {},
                                  {crash(u"gedit"_s, 5, 8), crash(u"gedit"_s, 1, 9), crash(u"gedit"_s, 11, 7)});
  ASSERT_EQ(both.size(), 3U);
  EXPECT_EQ(both[1].pid, 8);
}

TEST(CrashTextTest, listsTheFiveNewest) {
  std::vector<Crash> all;
  all.reserve(8);
  for (int i = 0; i < 8; ++i) all.push_back(crash(u"app%1"_s.arg(i), i));
  const QJsonArray recent = recentCrashes(all);
  ASSERT_EQ(recent.size(), 5);
  EXPECT_EQ(recent[0].toObject()[u"name"_s].toString(), u"app0"_s);
  EXPECT_EQ(recent[0].toObject()[u"file"_s].toString(), u"/cores/app0"_s);
  EXPECT_EQ(recent[0].toObject()[u"time"_s].toString(), all[0].time.toLocalTime().toString(u"yyyy-MM-ddTHH:mm:ss"_s));
  EXPECT_EQ(recent[0].toObject()[u"time"_s].toString().size(), 19) << "without a zone";
}

TEST(CrashTextTest, countsTheLatestFiftyAndRanksFive) {
  std::vector<Crash> all;
  all.reserve(90);
  for (int i = 0; i < 50; ++i) all.push_back(crash(i < 30 ? u"often"_s : u"app%1"_s.arg(i % 10), i));
  for (int i = 0; i < 40; ++i) all.push_back(crash(u"long ago"_s, 100 + i));
  const QJsonArray repeat = repeatedCrashes(all);
  ASSERT_EQ(repeat.size(), 5);
  EXPECT_EQ(repeat[0].toObject(), QJsonObject({{u"name"_s, u"often"_s}, {u"count"_s, 30}}));
  EXPECT_EQ(repeat[1].toObject(), QJsonObject({{u"name"_s, u"app9"_s}, {u"count"_s, 2}}));
  EXPECT_EQ(repeat[4].toObject(), QJsonObject({{u"name"_s, u"app6"_s}, {u"count"_s, 2}}));
}

TEST(CrashTextTest, anOopsIsNoPanic) {
  EXPECT_TRUE(reportsPanic(u"Panic#1 Part1\n<0>[   12.3] Kernel panic - not syncing: Fatal exception\n"_s));
  EXPECT_FALSE(reportsPanic(u"Oops#1 Part1\n<4>[   12.3] Oops: 0002 [#1] SMP\n"_s));
}

}  // namespace
}  // namespace vantora::Diagnostics
