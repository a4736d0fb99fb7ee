#include <gtest/gtest.h>

#include <QJsonArray>

#include "main/telemetry/HostStats.h"
#include "tests/fakes/FakeControlSender.h"
#include "tests/fakes/FakeDisplays.h"
#include "tests/fakes/FakeScheduler.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using Sent = fakes::FakeControlSender::Sent;

class HostStatsTest : public testing::Test {
 protected:
  HostStats make(const QString& room = u"r"_s, std::optional<QString> hostName = u"desk"_s) {
    return {scheduler_,
            displays_,
            sender_,
            {.session = [this] { return figures_; },
             .system = [this] { return system_; },
             .link = [this] { return link_; },
             .hostName = std::move(hostName),
             .roomId = room}};
  }
  JsonObject message(HostStats& stats) {
    stats.sendHostStats(ControlChannel::reliable);
    const QList<Sent> sent = sender_.take();
    EXPECT_EQ(sent.size(), 1);
    return sent.isEmpty() ? JsonObject() : sent[0].message;
  }

  fakes::FakeScheduler scheduler_;
  fakes::FakeDisplays displays_{{{.bounds = {0, 0, 10, 10}}, {.bounds = {10, 0, 10, 10}}}};
  fakes::FakeControlSender sender_;
  SessionFigures figures_{.preset = u"high"_s,
                          .width = 1920,
                          .height = 1080,
                          .fps = 60,
                          .maxKbps = 6000,
                          .screen = true,
                          .displayIndex = 1,
                          .lastCaptureNs = 1'800'000'000'123'456'789};
  std::optional<JsonObject> system_;
  std::optional<JsonObject> link_;
};

TEST_F(HostStatsTest, tellsWhatIsSent) {
  HostStats stats = make();
  EXPECT_EQ(message(stats), (JsonObject{{u"type"_s, u"host_stats"_s},
                                        {u"preset"_s, u"high"_s},
                                        {u"width"_s, 1920},
                                        {u"height"_s, 1080},
                                        {u"fps"_s, 60},
                                        {u"maxKbps"_s, 6000},
                                        {u"capture"_s, u"screen"_s},
                                        {u"displayIndex"_s, 1},
                                        {u"lastCaptureNs"_s, qint64{1'800'000'000'123'456'789}},
                                        {u"hostName"_s, u"desk"_s},
                                        {u"room"_s, u"r"_s}}));
}

TEST_F(HostStatsTest, keepsTheCaptureTimeExactOnTheWire) {
  HostStats stats = make();
  EXPECT_TRUE(toJson(message(stats)).contains("\"lastCaptureNs\":1800000000123456789"));
}

TEST_F(HostStatsTest, namesTheSyntheticSource) {
  figures_.screen = false;
  figures_.lastCaptureNs = 0;
  HostStats stats = make();
  const JsonObject sent = message(stats);
  EXPECT_EQ(sent.value(u"capture"), QJsonValue(u"dummy"_s));
  EXPECT_EQ(sent.value(u"lastCaptureNs"), QJsonValue(0));
}

TEST_F(HostStatsTest, leavesOutTheNameOfAHostWithoutOne) {
  HostStats stats = make(u"r"_s, std::nullopt);
  EXPECT_FALSE(message(stats).contains(u"hostName"));
}

TEST_F(HostStatsTest, marksTheDemoRoomAndNoOther) {
  HostStats demo = make(u"demo"_s);
  EXPECT_EQ(message(demo).value(u"demo"), QJsonValue(true));
  HostStats capital = make(u"Demo"_s);
  EXPECT_FALSE(message(capital).contains(u"demo"));
}

TEST_F(HostStatsTest, addsTheFiguresOfTheMachineWhenThereAreAny) {
  HostStats stats = make();
  EXPECT_FALSE(message(stats).contains(u"sys"));
  system_ = JsonObject{};
  EXPECT_EQ(message(stats).value(u"sys"), QJsonValue(JsonObject{}));
  system_ = JsonObject{{u"cpuPct"_s, 12.5}};
  EXPECT_EQ(message(stats).value(u"sys"), QJsonValue(JsonObject{{u"cpuPct"_s, 12.5}}));
}

TEST_F(HostStatsTest, addsTheFiguresOfTheConnectionWhenThereAreAny) {
  HostStats stats = make();
  EXPECT_FALSE(message(stats).contains(u"link"));
  link_ = JsonObject{{u"estimateKbps"_s, 1800}};
  EXPECT_EQ(message(stats).value(u"link"), QJsonValue(JsonObject{{u"estimateKbps"_s, 1800}}));
}

TEST_F(HostStatsTest, namesTheDisplaysWhenThereAreSeveralAndAllHaveNames) {
  HostStats stats = make();
  EXPECT_FALSE(message(stats).contains(u"displayNames"));
  displays_.set({{.id = 1, .name = u"HDMI-1"_s}, {.id = 2, .name = u"DP-2"_s}});
  EXPECT_EQ(message(stats).value(u"displayNames"), QJsonValue(QJsonArray{u"HDMI-1"_s, u"DP-2"_s}));
  displays_.set({{.id = 1, .name = u"HDMI-1"_s}, {.id = 2}});
  EXPECT_FALSE(message(stats).contains(u"displayNames"));
  displays_.set({{.id = 1, .name = u"HDMI-1"_s}});
  EXPECT_FALSE(message(stats).contains(u"displayNames"));
}

TEST_F(HostStatsTest, countsTheDisplaysAtTheMomentOfSending) {
  HostStats stats = make();
  stats.sendDisplayInfo(ControlChannel::control);
  displays_.set({});
  stats.sendDisplayInfo(ControlChannel::reliable);
  const auto info = [](int count) {
    return JsonObject{{u"type"_s, u"display_info"_s}, {u"count"_s, count}, {u"current"_s, 1}};
  };
  EXPECT_EQ(sender_.sent, (QList<Sent>{{ControlChannel::control, info(2)}, {ControlChannel::reliable, info(0)}}));
}

TEST_F(HostStatsTest, sendsFourTimesASecondOnTheReliableChannel) {
  HostStats stats = make();
  stats.startTimer();
  EXPECT_TRUE(sender_.sent.isEmpty());
  scheduler_.advance(249ms);
  EXPECT_TRUE(sender_.sent.isEmpty());
  scheduler_.advance(1ms);
  ASSERT_EQ(sender_.sent.size(), 1);
  EXPECT_EQ(sender_.sent[0].channel, ControlChannel::reliable);
  scheduler_.advance(1s);
  EXPECT_EQ(sender_.sent.size(), 5);
}

TEST_F(HostStatsTest, skipsTicksWhileTheReliableChannelIsNotOpen) {
  HostStats stats = make();
  sender_.reliable.open = false;
  stats.startTimer();
  scheduler_.advance(1s);
  EXPECT_TRUE(sender_.sent.isEmpty());
  sender_.reliable.open = true;
  scheduler_.advance(250ms);
  EXPECT_EQ(sender_.sent.size(), 1);
}

TEST_F(HostStatsTest, keepsOneTimerHoweverOftenItIsStarted) {
  HostStats stats = make();
  stats.startTimer();
  scheduler_.advance(200ms);
  stats.startTimer();
  EXPECT_EQ(scheduler_.runningTimers(), 1U);
  scheduler_.advance(249ms);
  EXPECT_TRUE(sender_.sent.isEmpty());
  scheduler_.advance(1ms);
  EXPECT_EQ(sender_.sent.size(), 1);
}

TEST_F(HostStatsTest, stopsItsTimer) {
  HostStats stats = make();
  stats.startTimer();
  stats.stopTimer();
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
  scheduler_.advance(1s);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

}  // namespace
}  // namespace vantora
