// When the session collects the machine's own figures, and what the viewer gets of them.
#include "tests/fakes/FakeBackgroundTasks.h"
#include "tests/unit/session/HostFixture.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class HostStatisticsTest : public HostFixture {
 protected:
  void SetUp() override { statistics_ = tasks_.starter(); }
  void TearDown() override { host_.reset(); }
  static JsonObject figures(int number) { return {{u"cpuPct"_s, number}}; }
  // "sys" of the statistics sent since the last call.
  QList<QJsonValue> systems() {
    QList<QJsonValue> result;
    for (const JsonObject& message : received()) {
      if (message.value(u"type"_s) == u"host_stats"_s) result.append(message.value(u"sys"_s));
    }
    return result;
  }

  fakes::FakeBackgroundTasks tasks_;
};

TEST_F(HostStatisticsTest, collectsNothingWithoutAViewer) {
  start();
  peer().settle();
  scheduler_.advance(60s);
  EXPECT_EQ(tasks_.started, 0);
}

TEST_F(HostStatisticsTest, theFirstMessageHasFiguresThatWereCollectedWhileTheViewerConnected) {
  start();
  peer().settle();
  peer().reportIce(IceState::checking);
  EXPECT_EQ(tasks_.started, 1);
  tasks_.finish(figures(1));
  peer().reportIce(IceState::connected);
  peer().reliable().open();
  EXPECT_EQ(systems(), QList<QJsonValue>{figures(1)});
}

TEST_F(HostStatisticsTest, twoMessagesAQuarterOfASecondApartHoldTheSameFigures) {
  connectViewer();
  tasks_.finish(figures(1));
  for (int tick = 0; tick < 8; ++tick) {
    scheduler_.advance(250ms);
    if (tasks_.open() > 0) tasks_.finish(figures(2));
  }
  EXPECT_EQ(systems(), (QList<QJsonValue>{figures(1), figures(1), figures(1), figures(1), figures(2), figures(2),
                                          figures(2), figures(2)}));
}

TEST_F(HostStatisticsTest, stopsWhenTheViewerLeaves) {
  connectViewer();
  EXPECT_EQ(tasks_.open(), 1U);
  peer().reliable().close();
  EXPECT_EQ(tasks_.open(), 0U);
  const int before = tasks_.started;
  scheduler_.advance(60s);
  EXPECT_EQ(tasks_.started, before);
}

TEST_F(HostStatisticsTest, endingTheSessionCancelsACollection) {
  connectViewer();
  EXPECT_EQ(tasks_.open(), 1U);
  host_->shutdown();
  EXPECT_EQ(tasks_.open(), 0U);
}

}  // namespace
}  // namespace vantora
