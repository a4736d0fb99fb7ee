#include <gtest/gtest.h>

#include "main/telemetry/DiagnosticsRequests.h"
#include "tests/fakes/FakeBackgroundTasks.h"
#include "tests/fakes/FakeControlSender.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using Sent = fakes::FakeControlSender::Sent;

class DiagnosticsRequestsTest : public testing::Test {
 protected:
  static Sent answer(ControlChannel channel, const JsonObject& report) {
    return {channel, {{u"type"_s, u"diagnostics_result"_s}, {u"payload"_s, report}}};
  }
  static JsonObject report(int number) { return {{u"network"_s, JsonObject{{u"rssi"_s, number}}}}; }

  fakes::FakeBackgroundTasks tasks_;
  fakes::FakeControlSender sender_;
  DiagnosticsRequests requests_{sender_, tasks_.starter()};
};

TEST_F(DiagnosticsRequestsTest, answersWithTheReportOnTheChannelOfTheRequest) {
  for (const ControlChannel channel : {ControlChannel::control, ControlChannel::reliable}) {
    requests_.handleRun(channel);
    EXPECT_TRUE(sender_.sent.isEmpty());
    tasks_.finish(report(1));
    EXPECT_EQ(sender_.take(), QList<Sent>{answer(channel, report(1))});
    EXPECT_EQ(requests_.pending(), 0U);
  }
}

TEST_F(DiagnosticsRequestsTest, makesAReportForEveryRequest) {
  requests_.handleRun(ControlChannel::reliable);
  requests_.handleRun(ControlChannel::control);
  requests_.handleRun(ControlChannel::reliable);
  EXPECT_EQ(tasks_.started, 3);
  for (int i = 1; i <= 3; ++i) tasks_.finish(report(i));
  EXPECT_EQ(sender_.take(),
            (QList<Sent>{answer(ControlChannel::reliable, report(1)), answer(ControlChannel::control, report(2)),
                         answer(ControlChannel::reliable, report(3))}));
}

TEST_F(DiagnosticsRequestsTest, aFloodOfRequestsIsBounded) {
  constexpr int kMaximum = static_cast<int>(DiagnosticsRequests::kMaxPending);
  for (int i = 0; i < 1000; ++i) requests_.handleRun(ControlChannel::reliable);
  EXPECT_EQ(tasks_.started, kMaximum);
  for (int i = 0; i < kMaximum; ++i) tasks_.finish({});
  EXPECT_EQ(sender_.take().size(), kMaximum);
  requests_.handleRun(ControlChannel::reliable);
  EXPECT_EQ(tasks_.started, kMaximum + 1);
}

TEST_F(DiagnosticsRequestsTest, cancelsTheReportsOfAChannelThatClosed) {
  requests_.handleRun(ControlChannel::control);
  requests_.handleRun(ControlChannel::reliable);
  requests_.handleRun(ControlChannel::control);
  requests_.channelClosed(ControlChannel::control);
  EXPECT_EQ(tasks_.open(), 1U);
  tasks_.finish(report(2));
  EXPECT_EQ(sender_.take(), QList<Sent>{answer(ControlChannel::reliable, report(2))});
}

TEST_F(DiagnosticsRequestsTest, cancelsItsReportsWhenItEnds) {
  {
    DiagnosticsRequests other(sender_, tasks_.starter());
    other.handleRun(ControlChannel::reliable);
    EXPECT_EQ(tasks_.open(), 1U);
  }
  EXPECT_EQ(tasks_.open(), 0U);
}

TEST_F(DiagnosticsRequestsTest, withoutReportsNothingIsAnswered) {
  DiagnosticsRequests other(sender_, {});
  other.handleRun(ControlChannel::reliable);
  EXPECT_EQ(other.pending(), 0U);
  EXPECT_TRUE(sender_.sent.isEmpty());
}

}  // namespace
}  // namespace vantora
