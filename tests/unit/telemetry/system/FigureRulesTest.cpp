#include <gtest/gtest.h>

#include <QJsonArray>
#include <limits>

#include "main/telemetry/system/FigureRules.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// Names

TEST(ShownName, isTheApplicationsOwnNameFirst) {
  EXPECT_EQ(shownName(u"cmd"_s, RunningApplication{u"Browser"_s, u"/opt/b/browser"_s, u""_s}), u"Browser"_s);
}

TEST(ShownName, isTheExecutablesWhereTheApplicationHasNone) {
  EXPECT_EQ(shownName(u"cmd"_s, RunningApplication{u""_s, u"/opt/b/browser"_s, u"/x"_s}), u"browser"_s);
}

TEST(ShownName, isTheCommandElse) {
  EXPECT_EQ(shownName(u"cmd"_s, std::nullopt), u"cmd"_s);
  EXPECT_EQ(shownName(u"cmd"_s, RunningApplication{}), u"cmd"_s);
  EXPECT_EQ(shownName(u"cmd"_s, RunningApplication{u""_s, u"/opt/b/"_s, u""_s}), u"cmd"_s);
}

TEST(ShownName, isTheLastComponentOfAPath) {
  EXPECT_EQ(shownName(u"/usr/sbin/daemon"_s, std::nullopt), u"daemon"_s);
  EXPECT_EQ(shownName(u"kworker/0:1"_s, std::nullopt), u"0:1"_s);
  EXPECT_EQ(shownName(u"cmd"_s, RunningApplication{u"Input/Output"_s, u""_s, u""_s}), u"Output"_s);
}

// Network rates

TEST(NetworkMeter, hasNoRateForItsFirstSample) {
  NetworkMeter meter;
  EXPECT_EQ(meter.sample({1000, 2000}, 50), std::nullopt);
}

TEST(NetworkMeter, givesKilobitsASecondSinceTheSampleBefore) {
  NetworkMeter meter;
  (void)meter.sample({1000, 2000}, 50);
  EXPECT_EQ(meter.sample({251'000, 2000}, 52), (NetworkRates{1000, 0}));
  EXPECT_EQ(meter.sample({251'000, 127'000}, 53), (NetworkRates{0, 1000}));
  EXPECT_EQ(meter.sample({251'000, 127'000}, 653), (NetworkRates{0, 0}));
}

TEST(NetworkMeter, takesAtLeastAMillisecondBetweenSamples) {
  NetworkMeter meter;
  (void)meter.sample({0, 0}, 50);
  EXPECT_EQ(meter.sample({125, 250}, 50), (NetworkRates{1000, 2000}));
  EXPECT_EQ(meter.sample({250, 500}, 49), (NetworkRates{1000, 2000}));
}

TEST(NetworkMeter, countersWrapAround) {
  constexpr quint64 kMaximum = std::numeric_limits<quint64>::max();
  NetworkMeter meter;
  (void)meter.sample({kMaximum - 24, 1000}, 50);
  const auto rates = meter.sample({100, 999}, 51);
  ASSERT_TRUE(rates);
  EXPECT_DOUBLE_EQ(rates->rxKbps, 1);
  // A counter that decreased is not an error, but gives a huge rate.
  EXPECT_DOUBLE_EQ(rates->txKbps, static_cast<double>(kMaximum) * 8 / 1000);
}

// The JSON object

TEST(SystemFiguresJson, leavesOutWhatIsNotKnown) { EXPECT_EQ(toJson(SystemFigures{}), JsonObject{}); }

TEST(SystemFiguresJson, hasAllKeysWithTheirTypes) {
  SystemFigures figures;
  figures.cpuPct = 12.5;
  figures.memory = MemoryFigures{8'000'000'000, 6'000'000'000};
  figures.disk = DiskFigures{51, 1'000'000'000'000, 500'000'000'000};
  figures.network = NetworkRates{1.5, 0};
  figures.top = {{.pid = 7, .name = u"a"_s, .rssBytes = 4096, .cpuPct = 99.5, .application = std::nullopt},
                 {.pid = 8,
                  .name = u"B"_s,
                  .rssBytes = 0,
                  .cpuPct = 0,
                  .application = RunningApplication{u"B"_s, u"/usr/bin/b"_s, u"/usr/share/applications/b.desktop"_s}},
                 {.pid = 9, .name = u"c"_s, .rssBytes = 1, .cpuPct = 1, .application = RunningApplication{}}};
  const QJsonArray top{QJsonObject{{u"pid"_s, 7}, {u"name"_s, u"a"_s}, {u"rssBytes"_s, 4096}, {u"cpuPct"_s, 99.5}},
                       QJsonObject{{u"pid"_s, 8},
                                   {u"name"_s, u"B"_s},
                                   {u"rssBytes"_s, 0},
                                   {u"cpuPct"_s, 0},
                                   {u"exe"_s, u"/usr/bin/b"_s},
                                   {u"bundle"_s, u"/usr/share/applications/b.desktop"_s}},
                       QJsonObject{{u"pid"_s, 9}, {u"name"_s, u"c"_s}, {u"rssBytes"_s, 1}, {u"cpuPct"_s, 1}}};
  EXPECT_EQ(toJson(figures), (JsonObject{{u"cpuPct"_s, 12.5},
                                         {u"memTotalBytes"_s, qint64{8'000'000'000}},
                                         {u"memUsedBytes"_s, qint64{6'000'000'000}},
                                         {u"disk"_s, QJsonObject{{u"usedPct"_s, 51},
                                                                 {u"totalBytes"_s, qint64{1'000'000'000'000}},
                                                                 {u"usedBytes"_s, qint64{500'000'000'000}}}},
                                         {u"netRxKbps"_s, 1.5},
                                         {u"netTxKbps"_s, 0},
                                         {u"top"_s, top}}));
}

TEST(SystemFiguresJson, isSoundWhateverTheFigures) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  constexpr quint64 kMaximum = std::numeric_limits<quint64>::max();
  SystemFigures figures;
  figures.cpuPct = kNan;
  figures.memory = MemoryFigures{kMaximum, kMaximum};
  figures.disk = DiskFigures{kNan, 1, 1};
  figures.network = NetworkRates{std::numeric_limits<double>::infinity(), 3};
  figures.top = {{.pid = 1,
                  .name = QString::fromUtf8("line\nbreak \xff \x01 \""),
                  .rssBytes = kMaximum,
                  .cpuPct = kNan,
                  .application = std::nullopt}};
  const JsonObject object = toJson(figures);
  const auto read = parseJsonObject(toJson(object));
  ASSERT_TRUE(read);
  EXPECT_EQ(*read, object);
  EXPECT_FALSE(object.contains(u"cpuPct"));
  EXPECT_FALSE(object.contains(u"disk"));
  EXPECT_FALSE(object.contains(u"netRxKbps"));
  EXPECT_EQ(object.value(u"netTxKbps"), QJsonValue(3));
  EXPECT_EQ(object.value(u"memTotalBytes").toInteger(), std::numeric_limits<qint64>::max());
  EXPECT_EQ(object[u"top"][0][u"cpuPct"], QJsonValue(0));
}

}  // namespace
}  // namespace vantora
