#include <QJsonObject>

#include "Diagnostics/text/ProcessText.h"
#include "tests/diagnostics/Printing.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

QByteArray statOf(const QByteArray& name) {
  return "42 (" + name +
         ") S 1 42 42 0 -1 4194304 100 0 0 0 150 50 0 0 20 0 1 0 1000 10000000 256 18446744073709551615 1 1\n";
}

TEST(ProcessTextTest, readsTheKernelsFigures) {
  const auto stat = parseProcStat(statOf("bash"));
  ASSERT_TRUE(stat);
  EXPECT_EQ(stat->pid, 42);
  EXPECT_EQ(stat->name, "bash");
  EXPECT_EQ(stat->cpuTicks, 200);
  EXPECT_EQ(stat->startTicks, 1000);
  EXPECT_EQ(stat->rssPages, 256);
}

TEST(ProcessTextTest, namesMayHoldAnything) {
  for (const QByteArray& name : {QByteArray("a b"), QByteArray(") S 1 ("), QByteArray("(x)"), QByteArray("two\nlines"),
                                 QByteArray(), QByteArray("\xff\xfe")}) {
    const auto stat = parseProcStat(statOf(name));
    ASSERT_TRUE(stat) << name.toStdString();
    EXPECT_EQ(stat->name, name);
    EXPECT_EQ(stat->rssPages, 256);
  }
}

TEST(ProcessTextTest, aTruncatedStatLineIsInvalid) {
  for (const char* text : {"", "42", "42 (bash", "42 (bash) S 1 2", ") (",
                           "x (bash) S 1 42 42 0 -1 4194304 100 0 0 0 150 50 0 0 20 0 1 0 1000 10000000 256 1"}) {
    EXPECT_FALSE(parseProcStat(text)) << text;
  }
}

TEST(ProcessTextTest, completesNamesThatTheKernelCut) {
  EXPECT_EQ(processName("gnome-terminal-", QByteArray("/usr/libexec/gnome-terminal-server\0--x", 38)),
            u"gnome-terminal-server"_s);
  EXPECT_EQ(processName("exactly15bytes_", QByteArray("other\0", 6)), u"exactly15bytes_"_s);
  EXPECT_EQ(processName("bash", QByteArray("-bash\0", 6)), u"bash"_s);
  EXPECT_EQ(processName("kworker/0:1", {}), u"kworker/0:1"_s);
  EXPECT_EQ(processName("/opt/x y", {}), u"x y"_s);
  EXPECT_EQ(processName("a\xff", {}), u"a\uFFFD"_s);
}

TEST(ProcessTextTest, ranksFiveAndEqualOnesById) {
  std::vector<ProcessFigures> all;
  for (int i = 1; i <= 8; ++i) all.push_back({i, i < 4 ? 50.0 : i * 1.0, 0, 100 - i});
  const auto cpu = topByCpu(all);
  ASSERT_EQ(cpu.size(), 5u);
  EXPECT_EQ(cpu[0].pid, 1);
  EXPECT_EQ(cpu[2].pid, 3);
  EXPECT_EQ(cpu[3].pid, 8);
  EXPECT_EQ(topByMemory(all)[0].pid, 1) << "the biggest of all stands first";
  EXPECT_TRUE(topByCpu({}).empty());
}

}  // namespace
}  // namespace vantora::Diagnostics
