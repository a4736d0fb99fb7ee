#include <gtest/gtest.h>

#include <QMap>
#include <QStringList>

#include "main/telemetry/system/ToolFigures.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class ToolFiguresTest : public testing::Test {
 protected:
  static constexpr const char* kCpu = "ps -A -o %cpu | awk 'NR>1 {s+=$1} END {print s}'";
  static constexpr const char* kNetwork =
      "netstat -ibn | awk 'NR>1 && $1!\"lo0\" {rx+=$7; tx+=$10} END {print rx, tx}'";
  static constexpr const char* kTop = "ps -Ao pid,comm,rss,pcpu -r | head -n 12";

  ToolFigures make() {
    return ToolFigures(
        {.runShell =
             [this](const QString& line) {
               commands_.append(line);
               return outputs_.value(line);
             },
         .nowSeconds = [this] { return now_; },
         .processors = 8,
         .memoryBytes = 1'000'000,
         .runningApplication =
             [](qint32 pid) {
               return pid == 5 ? std::optional(RunningApplication{u"Five"_s, u"/e"_s, u"/b"_s}) : std::nullopt;
             }});
  }

  QStringList commands_;
  QMap<QString, QString> outputs_{{QString::fromLatin1(kCpu), u"1250\n"_s},
                                  {u"vm_stat"_s, u"Pages free: 10.\n"_s},
                                  {u"df -k / | tail -n 1"_s, u"/dev/d 100 40 60 40% /\n"_s},
                                  {QString::fromLatin1(kNetwork), u"1000 2000\n"_s},
                                  {QString::fromLatin1(kTop), u"PID COMM RSS %CPU\n5 /x/y 3 7.5\n"_s}};
  double now_ = 100;
};

TEST_F(ToolFiguresTest, runsTheFiveCommandsInTheirOrder) {
  ToolFigures figures = make();
  (void)figures.collect();
  EXPECT_EQ(commands_, (QStringList{QString::fromLatin1(kCpu), u"vm_stat"_s, u"df -k / | tail -n 1"_s,
                                    QString::fromLatin1(kNetwork), QString::fromLatin1(kTop)}));
}

TEST_F(ToolFiguresTest, putsTheirFiguresTogether) {
  ToolFigures tools = make();
  const SystemFigures first = tools.collect();
  EXPECT_EQ(first.cpuPct, 100);
  EXPECT_EQ(first.memory, (MemoryFigures{1'000'000, 1'000'000 - 10 * 4096}));
  EXPECT_EQ(first.disk, (DiskFigures{40, 102'400, 40'960}));
  EXPECT_EQ(first.network, std::nullopt) << "there is nothing to compare with yet";
  ASSERT_EQ(first.top.size(), 1U);
  EXPECT_EQ(first.top[0].name, u"Five"_s);
  outputs_[QString::fromLatin1(kNetwork)] = u"2000 4000"_s;
  now_ = 101;
  EXPECT_EQ(tools.collect().network, (NetworkRates{8, 16}));
}

TEST_F(ToolFiguresTest, aSampleThatFailsIsNoSample) {
  ToolFigures tools = make();
  (void)tools.collect();
  outputs_[QString::fromLatin1(kNetwork)].clear();
  now_ = 101;
  EXPECT_EQ(tools.collect().network, std::nullopt);
  outputs_[QString::fromLatin1(kNetwork)] = u"3000 2000"_s;
  now_ = 102;
  EXPECT_EQ(tools.collect().network, (NetworkRates{8, 0}));
}

TEST_F(ToolFiguresTest, withoutToolsOnlyMemoryIsKnown) {
  outputs_.clear();
  ToolFigures tools = make();
  const JsonObject object = toJson(tools.collect());
  EXPECT_EQ(object.keys(), (QStringList{u"memTotalBytes"_s, u"memUsedBytes"_s}));
}

}  // namespace
}  // namespace vantora
