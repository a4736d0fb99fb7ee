// How the session handles the viewer's control messages and channels.
#include "tests/unit/session/HostFixture.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class HostControlTest : public HostFixture {};

// Channels

TEST_F(HostControlTest, greetsTheViewerOnTheReliableChannel) {
  start();
  peer().reliable().open();
  const QList<JsonObject> messages = received();
  ASSERT_EQ(typesOf(messages), (QStringList{u"display_info"_s, u"host_stats"_s}));
  EXPECT_EQ(messages[0], (JsonObject{{u"type"_s, u"display_info"_s}, {u"count"_s, 2}, {u"current"_s, 0}}));
  EXPECT_EQ(messages[1].value(u"room"_s), QJsonValue(u"r"_s));
  EXPECT_EQ(messages[1].value(u"preset"_s), QJsonValue(u"auto"_s));
  EXPECT_EQ(messages[1].value(u"capture"_s), QJsonValue(u"dummy"_s));
  EXPECT_EQ(messages[1].value(u"hostName"_s), QJsonValue(u"desk"_s));
}

TEST_F(HostControlTest, startsTheTimerOnAnyChannelButGreetsOnlyOnTheReliableOne) {
  start();
  peer().control().open();
  EXPECT_EQ(scheduler_.runningTimers(), 1U);
  scheduler_.advance(1s);
  EXPECT_TRUE(received("control"_L1).isEmpty());
  peer().reliable().open();
  received();
  scheduler_.advance(1s);
  EXPECT_EQ(typesOf(received()), (QStringList{u"host_stats"_s, u"host_stats"_s, u"host_stats"_s, u"host_stats"_s}));
  EXPECT_EQ(typesOf(received("control"_L1)), QStringList{u"cursor_shape"_s});
}

TEST_F(HostControlTest, tellsAViewerThatComesLaterThatTheScreenIsRefused) {
  start();
  host_->startSharing();
  sources_.screen().events.refused(u"screen_recording"_s);
  sources_.screen().finishStart();
  peer().reliable().open();
  EXPECT_TRUE(received("control"_L1).isEmpty());
  peer().control().open();
  EXPECT_EQ(received("control"_L1),
            (QList<JsonObject>{{{u"type"_s, u"permission_required"_s}, {u"permission"_s, u"screen_recording"_s}}}));
}

TEST_F(HostControlTest, tellsWhatIsSentNow) {
  connectViewer();
  host_->startSharing();
  sources_.screen().finishStart();
  sources_.screen().lastCaptureWallNs = 17;
  say({{u"type"_s, u"quality"_s}, {u"preset"_s, u"low"_s}});
  say({{u"type"_s, u"display_index"_s}, {u"index"_s, 1}});
  received();
  scheduler_.advance(250ms);
  const QList<JsonObject> messages = received();
  ASSERT_EQ(messages.size(), 1);
  const JsonObject& stats = messages[0];
  EXPECT_EQ(stats.value(u"preset"_s), QJsonValue(u"low"_s));
  EXPECT_EQ(stats.value(u"width"_s), QJsonValue(960));
  EXPECT_EQ(stats.value(u"height"_s), QJsonValue(540));
  EXPECT_EQ(stats.value(u"fps"_s), QJsonValue(30));
  EXPECT_EQ(stats.value(u"maxKbps"_s), QJsonValue(1200));
  EXPECT_EQ(stats.value(u"capture"_s), QJsonValue(u"screen"_s));
  EXPECT_EQ(stats.value(u"displayIndex"_s), QJsonValue(1));
  EXPECT_EQ(stats.value(u"lastCaptureNs"_s), QJsonValue(17));
}

TEST_F(HostControlTest, resetsReplacesAndOffersWhenAChannelCloses) {
  for (const bool reliable : {false, true}) {
    connectInControl();
    const QString label = reliable ? u"control_reliable"_s : u"control"_s;
    (reliable ? peer().reliable() : peer().control()).close();
    EXPECT_EQ(logged(), (QStringList{u"[dc] state=3 label="_s + label, u"[control] reset state on channel close"_s,
                                     u"[dc] created label="_s + label +
                                         (reliable ? u" (reliable)"_s : u" (unordered,maxPacketLifeTime=70ms)"_s)}));
    EXPECT_EQ(journal_.with("peer: "_L1), (QStringList{u"peer: createDataChannel "_s + label, u"peer: createOffer"_s}));
    EXPECT_FALSE(host_->authorisation().controlAuthed());
    EXPECT_FALSE(host_->authorisation().controlEnabled());
    EXPECT_EQ(scheduler_.runningTimers(), reliable ? 0U : 1U);  // The cursor continues with "control_reliable".
    EXPECT_EQ(peer().channels.size(), 3U);
    peer().settle();
    EXPECT_EQ(signalled(), QStringList{u"offer"_s});
  }
}

TEST_F(HostControlTest, startsStatisticsAgainWhenTheNewChannelOpens) {
  connectViewer();
  peer().reliable().close();
  peer().reliable().open();
  EXPECT_EQ(typesOf(received()), (QStringList{u"display_info"_s, u"host_stats"_s}));
  scheduler_.advance(250ms);
  EXPECT_EQ(typesOf(received()), QStringList{u"host_stats"_s});
}

// Held input

TEST_F(HostControlTest, releasesHeldInputWhenAChannelCloses) {
  connectInControl();
  holdAButton();
  say({{u"type"_s, u"keyDown"_s}, {u"code"_s, u"ShiftLeft"_s}});
  peer().control().close();
  EXPECT_TRUE(input_.heldButtons.empty());
  EXPECT_TRUE(input_.heldKeys.empty());
}

TEST_F(HostControlTest, releasesHeldInputWhenTheUserWithdrawsControl) {
  connectInControl();
  holdAButton();
  host_->authorisation().setAllowRemoteControl(false);
  EXPECT_TRUE(input_.heldButtons.empty());
  EXPECT_EQ(received(), (QList<JsonObject>{{{u"type"_s, u"control_state"_s}, {u"enabled"_s, false}}}));
}

TEST_F(HostControlTest, releasesHeldInputWhenTheViewerSwitchesControlOff) {
  connectInControl();
  holdAButton();
  say({{u"type"_s, u"control"_s}, {u"enable"_s, false}});
  EXPECT_TRUE(input_.heldButtons.empty());
}

TEST_F(HostControlTest, releasesHeldInputWhenTheConnectionIsRebuilt) {
  factory_.canRestartIce = false;
  connectInControl();
  holdAButton();
  peer().reportIce(IceState::failed);
  EXPECT_TRUE(input_.heldButtons.empty());
}

// Authorisation

TEST_F(HostControlTest, answersAuthAndThenAcknowledges) {
  connectViewer();
  say({{u"type"_s, u"auth"_s}, {u"token"_s, u"000042"_s}, {u"req"_s, 1}});
  say({{u"type"_s, u"auth"_s}, {u"token"_s, u"42"_s}, {u"req"_s, QJsonValue()}});
  EXPECT_EQ(received(), (QList<JsonObject>{{{u"type"_s, u"auth"_s}, {u"ok"_s, true}},
                                           {{u"type"_s, u"ack"_s}, {u"req"_s, 1}},
                                           {{u"type"_s, u"auth"_s}, {u"ok"_s, false}},
                                           {{u"type"_s, u"ack"_s}, {u"req"_s, QJsonValue()}}}));
  EXPECT_EQ(logged(), (QStringList{u"[control] auth=true"_s, u"[control] auth=false"_s}));
}

TEST_F(HostControlTest, saysThatPermissionIsMissingAfterTheAcknowledgement) {
  connectViewer();
  say({{u"type"_s, u"auth"_s}, {u"token"_s, u"000042"_s}});
  received();
  input_.setUsable(false);
  input_.setRefusal(u"no way in"_s);
  say({{u"type"_s, u"control"_s}, {u"enable"_s, true}, {u"req"_s, 3}});
  EXPECT_EQ(received(),
            (QList<JsonObject>{{{u"type"_s, u"control_state"_s}, {u"enabled"_s, false}},
                               {{u"type"_s, u"ack"_s}, {u"req"_s, 3}},
                               {{u"type"_s, u"permission_required"_s}, {u"permission"_s, u"accessibility"_s}}}));
  EXPECT_EQ(logged().filter(u"refused"_s), QStringList{u"[input] refused: no way in"_s});
}

TEST_F(HostControlTest, repliesOnTheReliableChannelAndAcknowledgesWhereTheRequestCameFrom) {
  connectViewer();
  say({{u"type"_s, u"control"_s}, {u"enable"_s, true}}, "control"_L1);
  EXPECT_EQ(typesOf(received()), QStringList{u"control_state"_s});
  EXPECT_EQ(typesOf(received("control"_L1)), QStringList{u"ack"_s});
}

TEST_F(HostControlTest, refusesInputBeforeControlIsGranted) {
  connectViewer();
  say({{u"type"_s, u"mouseMove"_s}, {u"x"_s, 0.5}, {u"y"_s, 0.5}});
  say({{u"type"_s, u"auth"_s}, {u"token"_s, u"000042"_s}});
  say({{u"type"_s, u"mouseClick"_s}, {u"x"_s, 0.5}, {u"y"_s, 0.5}});
  EXPECT_TRUE(input_.pointerActions.empty());
  EXPECT_TRUE(received("control"_L1).isEmpty());
}

TEST_F(HostControlTest, letsTheDemoRoomControlWithoutAPin) {
  connectViewer(u"demo"_s);
  say(QByteArray(R"({"type":"auth"})"));
  say({{u"type"_s, u"control"_s}, {u"enable"_s, true}});
  EXPECT_TRUE(isOpen(Gate::input, host_->authorisation().rights()));
  received();
  scheduler_.advance(250ms);
  EXPECT_EQ(received().value(0).value(u"demo"_s), QJsonValue(true));
}

// Refusals

TEST_F(HostControlTest, tellsWhyACommandIsRefused) {
  connectViewer();
  say({{u"type"_s, u"exec_command"_s}, {u"id"_s, u"cmd"_s}, {u"req"_s, 1}});
  say({{u"type"_s, u"exec_command"_s}, {u"id"_s, 5}});
  const auto refusal = [](const QString& id) {
    return JsonObject{{u"type"_s, u"command_result"_s},
                      {u"id"_s, id},
                      {u"title"_s, id},
                      {u"ok"_s, false},
                      {u"code"_s, -1},
                      {u"stderr"_s, u"Unauthorized (control not granted)"_s}};
  };
  EXPECT_EQ(received(), (QList<JsonObject>{refusal(u"cmd"_s), refusal(u""_s)}));
  say({{u"type"_s, u"open_activity_monitor"_s}, {u"pid"_s, 1}});
  EXPECT_TRUE(received().isEmpty());
}

// Support commands

TEST_F(HostControlTest, runsSupportCommandsForAViewerThatKnowsThePin) {
  connectViewer();
  say({{u"type"_s, u"auth"_s}, {u"token"_s, u"000042"_s}});
  received();
  say({{u"type"_s, u"exec_command"_s}, {u"id"_s, u"open-terminal"_s}, {u"req"_s, 1}}, "control"_L1);
  say({{u"type"_s, u"exec_command"_s}, {u"id"_s, u"x"_s}, {u"text"_s, u"open ~/Downloads"_s}});
  say({{u"type"_s, u"exec_command"_s}, {u"id"_s, u"x"_s}, {u"text"_s, u"ls"_s}});
  say({{u"type"_s, u"open_activity_monitor"_s}, {u"pid"_s, 77}});
  EXPECT_EQ(supportTools_.started, (QStringList{u"open-terminal"_s, u"reveal-downloads"_s}));
  EXPECT_EQ(supportTools_.monitors, QList<std::optional<std::int64_t>>{77});
  supportTools_.finish({.ok = true, .code = 0, .standardOutput = u"out"_s, .standardError = QString()});
  const auto result = [](const QString& id, bool ok, int code) {
    return JsonObject{
        {u"type"_s, u"command_result"_s}, {u"id"_s, id}, {u"title"_s, id}, {u"ok"_s, ok}, {u"code"_s, code}};
  };
  JsonObject refused = result(u"x"_s, false, -1);
  refused.insert(u"stderr"_s, u"Command not allowed"_s);
  JsonObject ended = result(u"open-terminal"_s, true, 0);
  ended.insert(u"stdout"_s, u"out"_s);
  ended.insert(u"stderr"_s, QString());
  EXPECT_EQ(received(), (QList<JsonObject>{refused, ended}));
  EXPECT_TRUE(received("control"_L1).isEmpty()) << "no acknowledgement, and the result goes on the reliable channel";
}

TEST_F(HostControlTest, endsRunningCommandsWithTheSession) {
  connectViewer();
  say({{u"type"_s, u"auth"_s}, {u"token"_s, u"000042"_s}});
  say({{u"type"_s, u"exec_command"_s}, {u"id"_s, u"dns-flush"_s}});
  EXPECT_FALSE(supportTools_.ended);
  host_->shutdown();
  EXPECT_TRUE(supportTools_.ended);
}

TEST_F(HostControlTest, aResultOutlivesTheViewerThatAskedForItWithoutHarm) {
  connectViewer();
  say({{u"type"_s, u"auth"_s}, {u"token"_s, u"000042"_s}});
  say({{u"type"_s, u"exec_command"_s}, {u"id"_s, u"dns-flush"_s}});
  received();
  peer().reliable().close();
  supportTools_.finish({});
  EXPECT_TRUE(received().isEmpty()) << "the fresh channel is not open yet";
}

// Single messages

TEST_F(HostControlTest, answersAPing) {
  connectViewer();
  scheduler_.setUnixBase(1'700'000'000'123'999'999ns);
  say({{u"type"_s, u"ping"_s}, {u"t0"_s, 77}, {u"req"_s, 1}});
  say({{u"type"_s, u"ping"_s}, {u"t0"_s, 1.5}});
  say({{u"type"_s, u"ping"_s}}, "control"_L1);
  const auto pong = [](qint64 t0) {
    return JsonObject{{u"type"_s, u"pong"_s}, {u"t0"_s, t0}, {u"hostNow"_s, qint64{1'700'000'000'123}}};
  };
  EXPECT_EQ(received(), (QList<JsonObject>{pong(77), pong(1'700'000'000'123), pong(1'700'000'000'123)}));
  EXPECT_TRUE(received("control"_L1).isEmpty());
}

TEST_F(HostControlTest, tellsTheDisplaysWhenNothingIsCaptured) {
  connectViewer();
  say({{u"type"_s, u"display_index"_s}, {u"index"_s, 1}, {u"req"_s, u"x"_s}});
  EXPECT_EQ(received("control"_L1),
            (QList<JsonObject>{{{u"type"_s, u"display_info"_s}, {u"count"_s, 2}, {u"current"_s, 1}}}));
  EXPECT_EQ(received(), (QList<JsonObject>{{{u"type"_s, u"ack"_s}, {u"req"_s, u"x"_s}}}));
  EXPECT_TRUE(logged().contains(u"[input] target display id=2 rotation=0 bounds=(1920, 0, 1280, 800)"_s));
}

TEST_F(HostControlTest, movesARunningCaptureToTheDisplay) {
  connectViewer();
  host_->startSharing();
  sources_.screen().finishStart();
  forget();
  say({{u"type"_s, u"display_index"_s}, {u"index"_s, 1}});
  EXPECT_TRUE(journal_.entries().contains(u"screen 1: display 1"_s));
  EXPECT_TRUE(received("control"_L1).isEmpty());
  EXPECT_EQ(typesOf(received()), QStringList{u"ack"_s});
}

TEST_F(HostControlTest, takesAnyDisplayIndex) {
  connectViewer();
  for (const auto& [sent, stored] :
       std::initializer_list<std::pair<QByteArray, qint64>>{{"-3", 0},
                                                            {"\"1\"", 0},
                                                            {"1.5", 0},
                                                            {"null", 0},
                                                            {"-9223372036854775808", 0},
                                                            {"7", 7},
                                                            {"9223372036854775807", 2'147'483'647}}) {
    say(R"({"type":"display_index","index":)" + sent + "}");
    EXPECT_EQ(received("control"_L1).value(0).value(u"current"_s), QJsonValue(stored)) << sent.toStdString();
  }
  say(QByteArray(R"({"type":"display_index"})"));
  EXPECT_EQ(received("control"_L1).value(0).value(u"current"_s), QJsonValue(0));
}

TEST_F(HostControlTest, tellsAnotherViewerNothingOfTheCommandOfTheFirstViewer) {
  connectInControl();
  say({{u"type"_s, u"exec_command"_s}, {u"id"_s, u"open-terminal"_s}});
  ASSERT_EQ(supportTools_.running(), 1);
  replaceViewer();
  supportTools_.finish({.ok = true, .code = 0, .standardOutput = u"secret"_s, .standardError = QString()});
  EXPECT_TRUE(received().isEmpty());
  EXPECT_TRUE(received("control"_L1).isEmpty());
}

TEST_F(HostControlTest, tellsTheUserInterfaceWhatChanged) {
  connectViewer();
  int changes = 0;
  host_->setChangedHandler([&] { ++changes; });
  say({{u"type"_s, u"quality"_s}, {u"preset"_s, u"low"_s}});
  EXPECT_EQ(changes, 1);
  say({{u"type"_s, u"quality"_s}, {u"preset"_s, u"low"_s}});
  EXPECT_EQ(changes, 1);
  host_->startSharing();
  EXPECT_EQ(changes, 2);
  host_->stopSharing();
  EXPECT_EQ(changes, 3);
}

}  // namespace
}  // namespace vantora
