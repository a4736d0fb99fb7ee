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

TEST(CrashTextTest, aCrashToldOfTwiceCountsOnceWithItsFile) {
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

TEST(CrashTextTest, listsTheFiveNewest) {
  std::vector<Crash> all;
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
  for (int i = 0; i < 50; ++i) all.push_back(crash(i < 30 ? u"often"_s : u"app%1"_s.arg(i % 10), i));
  for (int i = 0; i < 40; ++i) all.push_back(crash(u"long ago"_s, 100 + i));
  const QJsonArray repeat = repeatedCrashes(all);
  ASSERT_EQ(repeat.size(), 5);
  EXPECT_EQ(repeat[0].toObject(), QJsonObject({{u"name"_s, u"often"_s}, {u"count"_s, 30}}));
  EXPECT_EQ(repeat[1].toObject(), QJsonObject({{u"name"_s, u"app9"_s}, {u"count"_s, 2}}));
  EXPECT_EQ(repeat[4].toObject(), QJsonObject({{u"name"_s, u"app6"_s}, {u"count"_s, 2}}));
}

TEST(CrashTextTest, anOopsIsNoPanic) {
  EXPECT_TRUE(tellsOfPanic(u"Panic#1 Part1\n<0>[   12.3] Kernel panic - not syncing: Fatal exception\n"_s));
  EXPECT_FALSE(tellsOfPanic(u"Oops#1 Part1\n<4>[   12.3] Oops: 0002 [#1] SMP\n"_s));
}

}  // namespace
}  // namespace vantora::Diagnostics
