#include <gtest/gtest.h>

#include "main/session/peer/IceMonitor.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/PrintQt.h"
#include "tests/fakes/RecordedLog.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class IceMonitorTest : public testing::Test {
 protected:
  fakes::RecordedLog log_;
  fakes::FakeScheduler scheduler_;
  QStringList events_;
  IceMonitor monitor_{
      scheduler_,
      {.changed = [this](IceState state) { events_.append(u"changed "_s + iceStateLabel(state)); },
       .attemptIceRecovery = [this](bool immediate) { events_.append(immediate ? u"recover now"_s : u"recover"_s); }}};
};

TEST_F(IceMonitorTest, startsNew) {
  EXPECT_EQ(monitor_.iceState(), IceState::initial);
  EXPECT_EQ(monitor_.getICEStateLabel(), u"new"_s);
}

TEST_F(IceMonitorTest, logsTheLabelAndTheNumberOfEveryState) {
  const QStringList labels{u"new"_s,    u"checking"_s,     u"connected"_s, u"completed"_s,
                           u"failed"_s, u"disconnected"_s, u"closed"_s,    u"count"_s};
  for (int raw = 0; raw <= 9; ++raw) {
    log_.clear();
    monitor_.iceConnectionDidChange(static_cast<IceState>(raw));
    const QString label = raw < labels.size() ? labels[raw] : u"unknown"_s;
    EXPECT_EQ(log_.lines(), QStringList{u"ICE state: %1 (%2)"_s.arg(label).arg(raw)});
    EXPECT_EQ(monitor_.getICEStateLabel(), label);
  }
}

TEST_F(IceMonitorTest, reportsTheChangeBeforeItRecovers) {
  monitor_.iceConnectionDidChange(IceState::failed);
  EXPECT_EQ(events_, (QStringList{u"changed failed"_s, u"recover now"_s}));
}

TEST_F(IceMonitorTest, recoversNothingWhenTheConnectionReturnsInTime) {
  for (const IceState back : {IceState::connected, IceState::completed}) {
    monitor_.iceConnectionDidChange(IceState::disconnected);
    scheduler_.advance(1999ms);
    monitor_.iceConnectionDidChange(back);
    EXPECT_EQ(scheduler_.runningTimers(), 0U);
    scheduler_.advance(10s);
  }
  EXPECT_FALSE(events_.contains(u"recover"_s));
}

TEST_F(IceMonitorTest, recoversOnceWhenTheDisconnectionLasts) {
  monitor_.iceConnectionDidChange(IceState::disconnected);
  scheduler_.advance(1999ms);
  EXPECT_EQ(events_, QStringList{u"changed disconnected"_s});
  scheduler_.advance(1ms);
  EXPECT_EQ(events_, (QStringList{u"changed disconnected"_s, u"recover"_s}));
  scheduler_.advance(60s);
  EXPECT_EQ(events_.count(u"recover"_s), 1);
}

TEST_F(IceMonitorTest, restartsTheGracePeriodAtASecondDisconnection) {
  monitor_.iceConnectionDidChange(IceState::disconnected);
  scheduler_.advance(1500ms);
  monitor_.iceConnectionDidChange(IceState::disconnected);
  EXPECT_EQ(scheduler_.runningTimers(), 1U);
  scheduler_.advance(1999ms);
  EXPECT_FALSE(events_.contains(u"recover"_s));
  scheduler_.advance(1ms);
  EXPECT_EQ(events_.count(u"recover"_s), 1);
}

TEST_F(IceMonitorTest, cancelsTheGracePeriodWhenTheConnectionFails) {
  monitor_.iceConnectionDidChange(IceState::disconnected);
  scheduler_.advance(1s);
  monitor_.iceConnectionDidChange(IceState::failed);
  EXPECT_EQ(events_.count(u"recover now"_s), 1);
  scheduler_.advance(60s);
  EXPECT_FALSE(events_.contains(u"recover"_s));
}

TEST_F(IceMonitorTest, neitherCancelsNorRecoversWhenTheConnectionCloses) {
  monitor_.iceConnectionDidChange(IceState::disconnected);
  monitor_.iceConnectionDidChange(IceState::closed);
  EXPECT_EQ(scheduler_.runningTimers(), 1U);
  scheduler_.advance(2s);
  EXPECT_FALSE(events_.contains(u"recover"_s));
}

TEST_F(IceMonitorTest, leavesTheGracePeriodRunningThroughNewAndChecking) {
  monitor_.iceConnectionDidChange(IceState::disconnected);
  monitor_.iceConnectionDidChange(IceState::checking);
  EXPECT_EQ(scheduler_.runningTimers(), 1U);
  scheduler_.advance(2s);
  EXPECT_FALSE(events_.contains(u"recover"_s));
  monitor_.iceConnectionDidChange(IceState::initial);
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

TEST_F(IceMonitorTest, dropsAPendingRecoveryWithTheConnection) {
  monitor_.iceConnectionDidChange(IceState::disconnected);
  monitor_.connectionReplaced();
  EXPECT_EQ(monitor_.iceState(), IceState::initial);
  scheduler_.advance(60s);
  EXPECT_EQ(events_, QStringList{u"changed disconnected"_s});
}

// Every order of four states, one second apart, compared with a minimal model of the rules.
TEST_F(IceMonitorTest, recoversAsItShouldAfterEveryOrderOfStates) {
  constexpr int kStates = 7;
  for (int order = 0; order < kStates * kStates * kStates * kStates; ++order) {
    monitor_.connectionReplaced();
    events_.clear();
    QStringList expected;
    IceState now = IceState::initial;
    std::optional<int> due;  // Seconds until the grace period ends.
    for (int step = 0, rest = order; step < 4; ++step, rest /= kStates) {
      now = static_cast<IceState>(rest % kStates);
      expected.append(u"changed "_s + iceStateLabel(now));
      if (now == IceState::failed) expected.append(u"recover now"_s);
      if (now == IceState::disconnected) due = 2;
      if (now == IceState::failed || now == IceState::connected || now == IceState::completed) due.reset();
      monitor_.iceConnectionDidChange(now);
      for (int seconds = step == 3 ? 60 : 1; seconds > 0; --seconds) {
        scheduler_.advance(1s);
        if (!due || --*due > 0) continue;
        due.reset();
        if (now == IceState::disconnected || now == IceState::failed) expected.append(u"recover"_s);
      }
    }
    ASSERT_EQ(events_, expected) << "order " << order;
  }
}

TEST_F(IceMonitorTest, knowsWhenMediaCanReachAViewer) {
  for (int raw = 0; raw <= 7; ++raw) {
    const auto state = static_cast<IceState>(raw);
    monitor_.iceConnectionDidChange(state);
    EXPECT_EQ(monitor_.connected(), state == IceState::connected || state == IceState::completed) << raw;
  }
}

}  // namespace
}  // namespace vantora
