// How the session handles messages of the signalling server and ICE.
#include <QJsonArray>

#include "tests/unit/session/HostFixture.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class HostSignallingTest : public HostFixture {
 protected:
  // The channel closed and the library could not create another one; now it can.
  void loseChannel(fakes::FakeChannel& channel) {
    peer().refusesChannels = true;
    channel.close();
    peer().refusesChannels = false;
    peer().settle();
    forget();
  }
  int offers() {
    peer().settle();
    return static_cast<int>(signalled().count(u"offer"_s));
  }
};

TEST_F(HostSignallingTest, ignoresWhatIsNoMessage) {
  connectViewer();
  for (const JsonObject& message :
       {JsonObject{}, JsonObject{{u"type"_s, 5}}, JsonObject{{u"type"_s, u"join"_s}}, JsonObject{{u"type"_s, u""_s}},
        JsonObject{{u"type"_s, u"offer"_s}, {u"sdp"_s, u"v=0"_s}}, JsonObject{{u"type"_s, QJsonArray{}}}}) {
    signal(message);
  }
  EXPECT_TRUE(journal_.take().isEmpty());
}

TEST_F(HostSignallingTest, offersAgainWithNewChannelsAfterAReconnect) {
  connectViewer();
  loseChannel(peer().control());
  sockets_.last().failReceiving(u"gone"_s);
  scheduler_.advance(500ms);
  EXPECT_EQ(journal_.with("peer: create"_L1),
            (QStringList{u"peer: createDataChannel control"_s, u"peer: createOffer"_s}));
  peer().settle();
  EXPECT_EQ(signalled(), (QStringList{u"join"_s, u"offer"_s}));
}

TEST_F(HostSignallingTest, growsTheReconnectDelayWhateverTheSessionDoes) {
  start();
  QStringList lines;
  for (int i = 0; i < 4; ++i) {
    sockets_.last().failReceiving(u"gone"_s);
    lines.append(logged().last());
    scheduler_.advance(10s);
    peer().settle();
  }
  EXPECT_EQ(lines, (QStringList{u"[ws] reconnect in 0.5s"_s, u"[ws] reconnect in 1.0s"_s, u"[ws] reconnect in 2.0s"_s,
                                u"[ws] reconnect in 4.0s"_s}));
}

TEST_F(HostSignallingTest, renegotiatesOnRequest) {
  start();
  peer().settle();
  signal({{u"type"_s, u"ice"_s}, {u"candidate"_s, JsonObject{{u"candidate"_s, u"early"_s}}}});
  loseChannel(peer().reliable());
  signal({{u"type"_s, u"renegotiate"_s}});
  EXPECT_EQ(journal_.with("peer:"_L1),
            (QStringList{u"peer: createDataChannel control_reliable"_s, u"peer: createOffer"_s}));
  EXPECT_EQ(offers(), 1);
  answer(u"AA"_s, u"u1"_s);
  EXPECT_TRUE(peer().candidates.isEmpty()) << "the queue was emptied";
}

TEST_F(HostSignallingTest, restartsIceForAViewerThatRequestsIt) {
  connectViewer();
  for (const QJsonValue& other : {QJsonValue(), QJsonValue(false), QJsonValue(1), QJsonValue(u"true"_s)}) {
    signal({{u"type"_s, u"renegotiate"_s}, {u"iceRestart"_s, other}});
  }
  EXPECT_EQ(peer().restarts, 0);
  peer().settle();
  forget();
  signal({{u"type"_s, u"renegotiate"_s}, {u"iceRestart"_s, true}});
  EXPECT_EQ(peer().restarts, 1);
  EXPECT_EQ(offers(), 1);
}

TEST_F(HostSignallingTest, restartsIceForAViewerOnlySoManyTimesOnAConnection) {
  connectViewer();
  for (int i = 0; i < 100; ++i) {
    signal({{u"type"_s, u"renegotiate"_s}, {u"iceRestart"_s, true}});
    peer().settle();
  }
  EXPECT_EQ(peer().restarts, 30);
  EXPECT_EQ(offers(), 100) << "the others get an offer as usual";
}

TEST_F(HostSignallingTest, keepsOpenChannelsWhenItRenegotiates) {
  connectViewer();
  signal({{u"type"_s, u"renegotiate"_s}});
  EXPECT_EQ(peer().channels.size(), 2U);
  EXPECT_EQ(offers(), 1);
}

TEST_F(HostSignallingTest, addsCandidatesThatCameBeforeTheAnswer) {
  start();
  peer().settle();
  signal({{u"type"_s, u"ice"_s}, {u"candidate"_s, JsonObject{{u"candidate"_s, u"early"_s}}}});
  EXPECT_TRUE(peer().candidates.isEmpty());
  answer(u"AA"_s, u"u1"_s);
  ASSERT_EQ(peer().candidates.size(), 1);
  EXPECT_EQ(peer().candidates[0].candidate, u"early"_s);
}

TEST_F(HostSignallingTest, sendsItsOwnCandidatesAsTheyCome) {
  start();
  forget();
  peer().events.candidateGenerated({u"candidate:1"_s, u"0"_s, 0});
  EXPECT_EQ(signalled(), QStringList{u"ice"_s});
}

TEST_F(HostSignallingTest, appliesThePreferencesOfTheClient) {
  connectViewer();
  signal({{u"type"_s, u"client_prefs"_s}, {u"prefs"_s, JsonObject{{u"quality"_s, u"low"_s}}}});
  EXPECT_EQ(host_->getQualityPreset(), u"low"_s);
  EXPECT_EQ(logged().last(), u"[prefs] applied from client: quality=low fps=30"_s);
}

TEST_F(HostSignallingTest, forwardsChatAndReactions) {
  connectViewer();
  QStringList shown;
  host_->chat().setCallbacks(
      {.presentChat = [&](const QString& from, const QString& text, qint64) { shown.append(from + u' ' + text); },
       .deliverHostNotification = [&](const QString& title, const QString&) { shown.append(title); }});
  signal({{u"type"_s, u"chat_broadcast"_s}, {u"text"_s, u"hi"_s}});
  signal({{u"type"_s, u"reaction_broadcast"_s}, {u"from"_s, u"b"_s}, {u"reaction"_s, u"check"_s}});
  EXPECT_EQ(shown, (QStringList{u"Chat from ?"_s, u"? hi"_s, u"Reaction from B"_s, u"b \u2705"_s}));
}

// Channels whose closing is known to the library and not yet reported to the session

class HostLateClosingTest : public HostFixture, public testing::WithParamInterface<int> {
 protected:
  // Events that may be handled before the report.
  void meanwhile() {
    switch (GetParam()) {
      case 0:
        return signal({{u"type"_s, u"renegotiate"_s}});
      case 1:
        sockets_.last().failReceiving(u"gone"_s);
        return scheduler_.advance(500ms);
      default:
        peer().reportIce(IceState::failed);
    }
  }
};

TEST_P(HostLateClosingTest, areHandledAllTheSame) {
  connectInControl();
  holdAButton();
  ASSERT_TRUE(cursor_.watched());
  const auto control = peer().channels[0];
  const auto reliable = peer().channels[1];
  control->state = ChannelState::closed;
  reliable->state = ChannelState::closed;
  meanwhile();
  peer().settle();
  forget();
  control->close();
  reliable->close();
  peer().settle();
  EXPECT_EQ(
      journal_.with("log: [dc]"_L1),
      (QStringList{
          u"log: [dc] state=3 label=control"_s, u"log: [dc] created label=control (unordered,maxPacketLifeTime=70ms)"_s,
          u"log: [dc] state=3 label=control_reliable"_s, u"log: [dc] created label=control_reliable (reliable)"_s}));
  EXPECT_FALSE(host_->authorisation().controlEnabled());
  EXPECT_FALSE(host_->authorisation().controlAuthed());
  EXPECT_TRUE(input_.heldButtons.empty());
  EXPECT_FALSE(cursor_.watched());
  const int reads = cursor_.reads;
  scheduler_.advance(5s);
  EXPECT_EQ(cursor_.reads, reads);
  // New channels serve the viewer.
  EXPECT_EQ(peer().channels.size(), 4U);
  peer().control().open();
  peer().reliable().open();
  scheduler_.advance(1s);
  EXPECT_TRUE(cursor_.watched());
  EXPECT_EQ(peer().reliable().types().count(u"host_stats"_s), 5);
}

INSTANTIATE_TEST_SUITE_P(Renegotiate, HostLateClosingTest, testing::Values(0));
INSTANTIATE_TEST_SUITE_P(LineComesBack, HostLateClosingTest, testing::Values(1));
INSTANTIATE_TEST_SUITE_P(IceRecovers, HostLateClosingTest, testing::Values(2));

TEST_F(HostSignallingTest, handlesTheClosingOfAChannelWhoseConnectionIsReplacedMeanwhile) {
  connectInControl();
  holdAButton();
  signal({{u"type"_s, u"renegotiate"_s}});
  peer().settle();
  const auto reliable = peer().channels[1];
  reliable->state = ChannelState::closed;
  forget();
  answer(u"BB"_s, u"u2"_s);
  EXPECT_EQ(logged().count(u"[dc] state=3 label=control_reliable"_s), 1);
  EXPECT_FALSE(host_->authorisation().controlAuthed());
  EXPECT_TRUE(input_.heldButtons.empty());
  EXPECT_FALSE(cursor_.watched());
  forget();
  reliable->close();  // Nothing listens any more.
  EXPECT_TRUE(logged().isEmpty());
}

// Another viewer

TEST_F(HostSignallingTest, buildsANewConnectionForAnotherViewer) {
  connectInControl();
  host_->startSharing();
  sources_.screen().finishStart();
  holdAButton();
  signal({{u"type"_s, u"renegotiate"_s}});
  peer().settle();
  forget();
  answer(u"BB"_s, u"u2"_s);
  ASSERT_EQ(factory_.peers.size(), 2U);
  EXPECT_TRUE(factory_.peers[0]->destroyed);
  EXPECT_FALSE(host_->authorisation().controlEnabled());
  EXPECT_FALSE(host_->authorisation().controlAuthed());
  EXPECT_TRUE(input_.heldButtons.empty());
  // The old viewer's channels were closed with its connection.
  EXPECT_EQ(journal_.with("log: [dc] state=3"_L1).size(), 2);
  EXPECT_EQ(logged().count(u"[control] reset state on channel close"_s), 2);
  EXPECT_EQ(host_->getICEStateLabel(), u"new"_s);
  EXPECT_EQ(offers(), 1);
  EXPECT_EQ(peer().channels.size(), 2U);
  // The capture continues and feeds the new connection.
  EXPECT_FALSE(sources_.screen().stopped);
  EXPECT_EQ(peer().sender().track, u"screen 1"_s);
  answer(u"BB"_s, u"u3"_s);
  EXPECT_EQ(peer().remoteAnswers.size(), 1);
  EXPECT_EQ(factory_.peers.size(), 2U);
}

TEST_F(HostSignallingTest, rebuildsAConnectionWhoseTransportFailed) {
  connectInControl();
  peer().events.transportFailed();
  ASSERT_EQ(factory_.peers.size(), 2U);
  EXPECT_TRUE(factory_.peers[0]->destroyed);
  EXPECT_FALSE(host_->authorisation().controlAuthed());
  EXPECT_TRUE(logged().contains(u"[sdp] transport failed → rebuilding peer"_s));
  EXPECT_EQ(offers(), 1);
}

TEST_F(HostSignallingTest, rebuildsAConnectionThatAnAnswerLeftUnusable) {
  connectViewer();
  peer().reportIce(IceState::failed);
  forget();
  peer().events.descriptionBroken();
  ASSERT_EQ(factory_.peers.size(), 2U);
  EXPECT_TRUE(logged().contains(u"[sdp] answer left the connection unusable → rebuilding peer"_s));
  EXPECT_EQ(offers(), 1);
}

TEST_F(HostSignallingTest, leavesATransportThatFailedWithIceToTheIceRecovery) {
  connectViewer();
  peer().reportIce(IceState::failed);
  peer().events.transportFailed();
  EXPECT_EQ(factory_.peers.size(), 1U);
  EXPECT_EQ(peer().restarts, 1);
}

TEST_F(HostSignallingTest, sendsNoStatisticsToAReplacedViewer) {
  connectViewer();
  signal({{u"type"_s, u"renegotiate"_s}});
  peer().settle();
  answer(u"BB"_s, u"u2"_s);
  scheduler_.advance(2s);  // The freed memory has been returned by then.
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
}

TEST_F(HostSignallingTest, receivesNothingFromAReplacedConnection) {
  connectViewer();
  signal({{u"type"_s, u"renegotiate"_s}});
  peer().settle();
  answer(u"BB"_s, u"u2"_s);
  forget();
  fakes::FakePeer& old = *factory_.peers[0];
  old.reportIce(IceState::failed);
  old.control().close();
  old.reliable().deliver({{u"type"_s, u"ping"_s}});
  EXPECT_TRUE(journal_.take().isEmpty());
}

// ICE

TEST_F(HostSignallingTest, restartsIceAtOnceWhenItFails) {
  connectViewer();
  int refreshes = 0;
  host_->setChangedHandler([&] { ++refreshes; });
  peer().reportIce(IceState::failed);
  EXPECT_EQ(logged(), (QStringList{u"ICE state: failed (4)"_s, u"[ice] restartIce invoked"_s}));
  EXPECT_EQ(journal_.with("peer: "_L1), (QStringList{u"peer: restartIce"_s, u"peer: createOffer"_s}));
  EXPECT_EQ(offers(), 1);
  EXPECT_EQ(refreshes, 1);
  EXPECT_EQ(host_->getICEStateLabel(), u"failed"_s);
}

TEST_F(HostSignallingTest, restartsIceOnceAfterALastingDisconnection) {
  connectViewer();
  peer().reportIce(IceState::disconnected);
  scheduler_.advance(2s);
  EXPECT_EQ(peer().restarts, 1);
  EXPECT_EQ(offers(), 1);
  scheduler_.advance(60s);
  EXPECT_EQ(peer().restarts, 1);
}

TEST_F(HostSignallingTest, refreshesLostChannelsWhenItRecovers) {
  connectViewer();
  loseChannel(peer().control());
  peer().reportIce(IceState::failed);
  EXPECT_EQ(journal_.with("peer: create"_L1),
            (QStringList{u"peer: createDataChannel control"_s, u"peer: createOffer"_s}));
}

TEST_F(HostSignallingTest, rebuildsTheConnectionWhereIceCannotBeRestarted) {
  factory_.canRestartIce = false;
  connectViewer();
  host_->startSharing();
  sources_.screen().finishStart();
  peer().settle();
  signal({{u"type"_s, u"ice"_s}, {u"candidate"_s, JsonObject{}}});
  forget();
  peer().reportIce(IceState::failed);
  ASSERT_EQ(factory_.peers.size(), 2U);
  EXPECT_EQ(logged().first(6),
            (QStringList{u"ICE state: failed (4)"_s, u"[ice] restartIce not available → rebuilding peer"_s,
                         u"[dc] state=3 label=control"_s, u"[control] reset state on channel close"_s,
                         u"[dc] state=3 label=control_reliable"_s, u"[control] reset state on channel close"_s}));
  EXPECT_TRUE(journal_.holds({u"log: [dc] state=3 label=control_reliable"_s, u"peer: close"_s,
                              u"factory: createPeerConnection"_s, u"peer: createOffer"_s}));
  EXPECT_EQ(offers(), 1);
  EXPECT_TRUE(host_->isSharingEnabled());
  EXPECT_EQ(peer().sender().track, u"screen 1"_s);
}

TEST_F(HostSignallingTest, takesTheSameViewersAnswerAfterARebuild) {
  factory_.canRestartIce = false;
  connectViewer();
  peer().reportIce(IceState::failed);
  peer().settle();
  answer(u"AA"_s, u"u2"_s);
  EXPECT_EQ(peer().remoteAnswers.size(), 1);
  EXPECT_EQ(factory_.peers.size(), 2U);
}

TEST_F(HostSignallingTest, makesFramesOnlyWhileConnected) {
  start();
  EXPECT_FALSE(sources_.synthetic().active);
  peer().reportIce(IceState::connected);
  EXPECT_TRUE(sources_.synthetic().active);
  peer().reportIce(IceState::disconnected);
  EXPECT_FALSE(sources_.synthetic().active);
  peer().reportIce(IceState::completed);
  EXPECT_TRUE(sources_.synthetic().active);
}

TEST_F(HostSignallingTest, sendsANewFrameWhenMediaIsReady) {
  start();
  host_->startSharing();
  peer().events.mediaReady();
  EXPECT_EQ(peer().keyFrames, 1);
  EXPECT_EQ(sources_.screen().refreshes, 1);
}

TEST_F(HostSignallingTest, offersAgainWhenSharingStartsAndStops) {
  connectViewer();
  host_->startSharing();
  EXPECT_EQ(offers(), 0);
  sources_.screen().finishStart();
  EXPECT_EQ(offers(), 1);
  host_->stopSharing();
  EXPECT_EQ(offers(), 2);
}

}  // namespace
}  // namespace vantora
