#include <gtest/gtest.h>

#include "main/telemetry/system/SystemStats.h"
#include "tests/fakes/FakeBackgroundTasks.h"
#include "tests/fakes/FakeScheduler.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class SystemStatsTest : public testing::Test {
 protected:
  static JsonObject figures(int number) { return {{u"cpuPct"_s, number}}; }
  // The figures of a message that is sent now.
  JsonObject ask() { return stats_.getSystemStats().value_or(JsonObject{{u"nothing"_s, true}}); }
  JsonObject askAfter(std::chrono::milliseconds time) {
    scheduler_.advance(time);
    return ask();
  }

  fakes::FakeScheduler scheduler_;
  fakes::FakeBackgroundTasks tasks_;
  SystemStats stats_{scheduler_, tasks_.starter()};
};

TEST_F(SystemStatsTest, collectsNothingBeforeTheFirstRequest) {
  scheduler_.advance(10s);
  EXPECT_EQ(tasks_.started, 0);
}

TEST_F(SystemStatsTest, isEmptyUntilTheFirstFiguresAreThere) {
  EXPECT_EQ(ask(), JsonObject{});
  EXPECT_EQ(askAfter(250ms), JsonObject{});
  EXPECT_EQ(tasks_.started, 1) << "one collection at a time";
  tasks_.finish(figures(1));
  EXPECT_EQ(askAfter(250ms), figures(1));
}

TEST_F(SystemStatsTest, hasFiguresForTheFirstRequestWhenItWasPrepared) {
  stats_.prepare();
  stats_.prepare();
  EXPECT_EQ(tasks_.started, 1);
  scheduler_.advance(200ms);
  tasks_.finish(figures(1));
  stats_.prepare();
  EXPECT_EQ(tasks_.started, 1);
  EXPECT_EQ(askAfter(300ms), figures(1));
}

TEST_F(SystemStatsTest, servesTheSameFiguresForASecondAndThenTheNextOnes) {
  stats_.prepare();
  tasks_.finish(figures(1));
  EXPECT_EQ(ask(), figures(1));
  EXPECT_EQ(askAfter(250ms), figures(1));
  EXPECT_EQ(askAfter(250ms), figures(1));
  EXPECT_EQ(tasks_.started, 1);
  EXPECT_EQ(askAfter(250ms), figures(1));
  EXPECT_EQ(tasks_.started, 2) << "their successors are collected in time";
  tasks_.finish(figures(2));
  EXPECT_EQ(askAfter(249ms), figures(1)) << "and wait until the second is over";
  EXPECT_EQ(askAfter(1ms), figures(2));
  EXPECT_EQ(askAfter(250ms), figures(2));
}

TEST_F(SystemStatsTest, collectsOnceASecond) {
  stats_.prepare();
  tasks_.finish(figures(0));
  for (int tick = 0; tick < 40; ++tick) {
    (void)askAfter(250ms);
    if (tasks_.open() > 0) tasks_.finish(figures(tick));
  }
  EXPECT_EQ(tasks_.started, 11);
}

TEST_F(SystemStatsTest, servesWhatItHasWhileACollectionTakesLongAndNothingOnceThatIsTooOld) {
  stats_.prepare();
  tasks_.finish(figures(1));
  EXPECT_EQ(ask(), figures(1));
  EXPECT_EQ(askAfter(2999ms), figures(1));
  EXPECT_EQ(askAfter(1ms), JsonObject{});
  EXPECT_EQ(tasks_.started, 2);
  tasks_.finish(figures(2));
  EXPECT_EQ(askAfter(250ms), figures(2));
}

TEST_F(SystemStatsTest, anEmptyResultIsNotKept) {
  stats_.prepare();
  tasks_.finish({});
  EXPECT_EQ(ask(), JsonObject{});
  EXPECT_EQ(tasks_.started, 2) << "the next collection begins at once";
  tasks_.finish(figures(2));
  EXPECT_EQ(ask(), figures(2));
}

TEST_F(SystemStatsTest, aPauseCancelsACollectionAndAnOldFigureIsNotShownAfterIt) {
  stats_.prepare();
  tasks_.finish(figures(1));
  EXPECT_EQ(ask(), figures(1));
  (void)askAfter(750ms);
  EXPECT_EQ(tasks_.open(), 1U);
  stats_.pause();
  EXPECT_EQ(tasks_.open(), 0U);
  scheduler_.advance(60s);
  EXPECT_EQ(tasks_.started, 2) << "nothing is collected without requests";
  EXPECT_EQ(ask(), JsonObject{});
  tasks_.finish(figures(3));
  EXPECT_EQ(askAfter(250ms), figures(3));
}

TEST_F(SystemStatsTest, figuresCollectedBeforeAPauseAreNotServedAfterIt) {
  stats_.prepare();
  tasks_.finish(figures(1));
  stats_.pause();
  EXPECT_EQ(ask(), JsonObject{});
}

TEST_F(SystemStatsTest, figuresThatWaitedTooLongAreCollectedAgain) {
  stats_.prepare();
  tasks_.finish(figures(1));
  EXPECT_EQ(askAfter(3s), JsonObject{});
  EXPECT_EQ(tasks_.started, 2);
}

TEST_F(SystemStatsTest, aSecondPreparationRenewsFiguresThatWereNotRequested) {
  stats_.prepare();
  tasks_.finish(figures(1));
  scheduler_.advance(999ms);
  stats_.prepare();
  EXPECT_EQ(tasks_.started, 1) << "those are fresh enough";
  scheduler_.advance(1ms);
  stats_.prepare();
  EXPECT_EQ(tasks_.started, 2);
  scheduler_.advance(10s);
  tasks_.finish(figures(2));
  EXPECT_EQ(ask(), figures(2));
}

TEST_F(SystemStatsTest, aMachineWithoutFiguresHasNone) {
  SystemStats withoutFigures(scheduler_, {});
  withoutFigures.prepare();
  EXPECT_EQ(withoutFigures.getSystemStats(), std::nullopt);
}

}  // namespace
}  // namespace vantora
