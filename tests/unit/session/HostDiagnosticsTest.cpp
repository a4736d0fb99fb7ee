// What the session does while a diagnostics report is being made.
#include "tests/fakes/FakeBackgroundTasks.h"
#include "tests/unit/session/HostFixture.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class HostDiagnosticsTest : public HostFixture {
 protected:
  void SetUp() override { diagnostics_ = tasks_.starter(); }
  void TearDown() override { host_.reset(); }
  void ask(QLatin1StringView label = "control_reliable"_L1) { say({{u"type"_s, u"diagnostics_run"_s}}, label); }
  static JsonObject result() {
    return {{u"type"_s, u"diagnostics_result"_s}, {u"payload"_s, JsonObject{{u"ping"_s, JsonObject{}}}}};
  }
  void finish() { tasks_.finish({{u"ping"_s, JsonObject{}}}); }

  fakes::FakeBackgroundTasks tasks_;
};

TEST_F(HostDiagnosticsTest, answersOnTheChannelOfTheRequestWithoutAnyRight) {
  connectViewer();
  ask("control"_L1);
  finish();
  EXPECT_EQ(received("control"_L1), QList<JsonObject>{result()});
  EXPECT_TRUE(received().isEmpty());
  say({{u"type"_s, u"diagnostics_run"_s}, {u"req"_s, 1}});
  finish();
  EXPECT_EQ(received(), QList<JsonObject>{result()}) << "and nothing is acknowledged";
  EXPECT_TRUE(logged().isEmpty());
}

TEST_F(HostDiagnosticsTest, theSessionContinuesMeanwhile) {
  connectInControl();
  ask();
  say({{u"type"_s, u"ping"_s}, {u"t0"_s, 5}});
  EXPECT_EQ(received().value(0).value(u"type"_s), QJsonValue(u"pong"_s));
  holdAButton();
  scheduler_.advance(250ms);
  EXPECT_EQ(received().value(0).value(u"type"_s), QJsonValue(u"host_stats"_s));
  finish();
  EXPECT_EQ(received(), QList<JsonObject>{result()});
}

TEST_F(HostDiagnosticsTest, aViewerThatLeftGetsNoReplyAndItsReportIsCancelled) {
  for (const bool reliable : {false, true}) {
    connectViewer();
    ask(reliable ? "control_reliable"_L1 : "control"_L1);
    (reliable ? peer().reliable() : peer().control()).close();
    EXPECT_EQ(tasks_.open(), 0U);
    // The new channel has not requested anything.
    (reliable ? peer().reliable() : peer().control()).open();
    for (const JsonObject& message : received() + received("control"_L1)) {
      EXPECT_NE(message.value(u"type"_s), QJsonValue(u"diagnostics_result"_s));
    }
  }
}

TEST_F(HostDiagnosticsTest, theOtherChannelsReportSurvivesAChannelThatCloses) {
  connectViewer();
  ask();
  peer().control().close();
  received();
  finish();
  EXPECT_EQ(received(), QList<JsonObject>{result()});
}

TEST_F(HostDiagnosticsTest, anotherViewerDoesNotGetTheReportOfTheFirstViewer) {
  connectViewer();
  ask();
  signal({{u"type"_s, u"renegotiate"_s}});
  peer().settle();
  answer(u"BB"_s, u"u2"_s);
  ASSERT_EQ(factory_.peers.size(), 2U);
  EXPECT_EQ(tasks_.open(), 0U);
}

TEST_F(HostDiagnosticsTest, endingTheSessionCancelsReports) {
  connectViewer();
  ask();
  host_->shutdown();
  EXPECT_EQ(tasks_.open(), 0U);
  connectViewer();
  ask();
  host_.reset();
  EXPECT_EQ(tasks_.open(), 0U);
}

}  // namespace
}  // namespace vantora
