#include <QJsonArray>
#include <QRegularExpression>
#include <limits>

#include "main/session/peer/Negotiation.h"
#include "tests/unit/session/peer/NegotiationFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using fakes::answerText;
using fakes::offerText;

class NegotiationTest : public NegotiationFixture {};

// Offers

TEST_F(NegotiationTest, setsTheRewrittenOfferAndSendsTheSameText) {
  offer();
  const QString rewritten = shapeOffer(offerText(), shape_);
  EXPECT_NE(rewritten, offerText());
  EXPECT_EQ(peer().localOffers, QStringList{rewritten});
  EXPECT_EQ(sent_, (QList<JsonObject>{{{u"type"_s, u"offer"_s}, {u"sdp"_s, rewritten}}}));
  ASSERT_EQ(peer().offerOptions.size(), 1);
  EXPECT_TRUE(peer().offerOptions[0].receiveVideo);
  EXPECT_FALSE(peer().offerOptions[0].receiveAudio);
}

TEST_F(NegotiationTest, logsAnOfferThatCannotBeMadeAndSendsNothing) {
  peer().offerError = u"no luck"_s;
  offer();
  EXPECT_EQ(log_.lines().last(), u"offer error: no luck"_s);
  EXPECT_TRUE(sent_.isEmpty());
  EXPECT_TRUE(peer().localOffers.isEmpty());
}

TEST_F(NegotiationTest, logsAnOfferThatCannotBeSetAndSendsNothing) {
  peer().localError = u"bad text"_s;
  offer();
  EXPECT_EQ(log_.lines().last(), u"setLocalDescription error: bad text"_s);
  EXPECT_TRUE(sent_.isEmpty());
}

TEST_F(NegotiationTest, readsTheShapeWhenTheOfferIsReady) {
  negotiation_.makeOffer();
  shape_.lastMaxBitrateKbps = 9000;
  peer().settle();
  EXPECT_EQ(peer().localOffers, QStringList{shapeOffer(offerText(), shape_)});
  EXPECT_TRUE(peer().localOffers[0].contains(u"x-google-max-bitrate=9000"_s));
}

TEST_F(NegotiationTest, makesOneOfferAfterTheOther) {
  for (int i = 0; i < 3; ++i) negotiation_.makeOffer();
  while (!peer().completions.empty()) {
    EXPECT_EQ(peer().completions.size(), 1U) << "one step of one offer at a time";
    const auto completion = std::move(peer().completions.front());
    peer().completions.pop_front();
    completion();
  }
  EXPECT_EQ(sent_.size(), 3);
}

TEST_F(NegotiationTest, makesAFewOffersForAFloodOfRequests) {
  for (int i = 0; i < 100'000; ++i) negotiation_.makeOffer();
  peer().settle();
  EXPECT_EQ(sent_.size(), 5);
}

TEST_F(NegotiationTest, leavesAProfileOutOfTheOfferThatWouldBreakIt) {
  const QString untouched = shapeOffer(offerText(), shape_);
  for (const QString& profile :
       {u"42e01f\r\na=x"_s, u"42e01f\n"_s, QString(65, u'4'), QString(200'000, u'4'), u"42\u00e9"_s, u"42\u0000"_s}) {
    shape_.h264Profile = profile;
    EXPECT_EQ(shapeOffer(offerText(), shape_), untouched);
  }
  shape_.h264Profile = QString(64, u'4');
  EXPECT_TRUE(shapeOffer(offerText(), shape_).contains(u"profile-level-id="_s + QString(64, u'4')));
}

TEST_F(NegotiationTest, makesTheNextOfferAlsoWhenOneFailed) {
  peer().offerError = u"no"_s;
  negotiation_.makeOffer();
  negotiation_.makeOffer();
  peer().settle();
  EXPECT_EQ(log_.lines().count(u"offer error: no"_s), 2);
  peer().offerError.reset();
  peer().localError = u"no"_s;
  negotiation_.makeOffer();
  negotiation_.makeOffer();
  peer().settle();
  EXPECT_EQ(log_.lines().count(u"setLocalDescription error: no"_s), 2);
  peer().localError.reset();
  offer();
  EXPECT_EQ(sent_.size(), 1);
}

TEST_F(NegotiationTest, dropsOffersBeingMadeWithTheirConnection) {
  negotiation_.makeOffer();
  negotiation_.makeOffer();
  attachNewPeer();
  offer();
  EXPECT_EQ(sent_.size(), 1);
}

TEST_F(NegotiationTest, makesNoOfferWithoutAConnection) {
  negotiation_.attach(nullptr);
  negotiation_.makeOffer();
  EXPECT_TRUE(peer().offerOptions.isEmpty());
}

TEST_F(NegotiationTest, putsThePreferredCodecFirst) {
  shape_.preferredCodecName = u"vp8"_s;
  EXPECT_TRUE(shapeOffer(offerText(), shape_).contains(u"SAVPF 96 97 98"_s));
  shape_.preferredCodecName = u"h264"_s;
  EXPECT_TRUE(shapeOffer(offerText(), shape_).contains(u"SAVPF 97 96 98"_s));
}

TEST_F(NegotiationTest, prefersH264WithoutAPreference) {
  EXPECT_TRUE(shapeOffer(offerText(), shape_).contains(u"SAVPF 97 96 98"_s));
  shape_.preferredCodecName = u""_s;
  EXPECT_TRUE(shapeOffer(offerText(), shape_).contains(u"SAVPF 97 96 98"_s));
}

TEST_F(NegotiationTest, rewritesTheProfileUnlessAnotherCodecIsPreferred) {
  shape_.h264Profile = u"64001f"_s;
  EXPECT_TRUE(shapeOffer(offerText(), shape_).contains(u"profile-level-id=64001f"_s));
  shape_.preferredCodecName = u"h264"_s;
  EXPECT_TRUE(shapeOffer(offerText(), shape_).contains(u"profile-level-id=64001f"_s));
  for (const QString& codec : {u"vp8"_s, u"vp9"_s, u"av1"_s}) {
    shape_.preferredCodecName = codec;
    EXPECT_TRUE(shapeOffer(offerText(), shape_).contains(u"profile-level-id=42e01f"_s)) << codec.toStdString();
  }
  shape_.preferredCodecName.reset();
  shape_.h264Profile = u""_s;
  EXPECT_TRUE(shapeOffer(offerText(), shape_).contains(u"profile-level-id=42e01f"_s));
}

TEST_F(NegotiationTest, hintsAtTheBitRatesOfTheSession) {
  const auto hints = [&] {
    const QString sdp = shapeOffer(offerText(), shape_);
    QList<int> numbers;
    for (const QString& name : {u"min"_s, u"start"_s, u"max"_s}) {
      const qsizetype at = sdp.indexOf(u"x-google-"_s + name + u"-bitrate="_s);
      EXPECT_GE(at, 0);
      numbers.append(sdp.mid(sdp.indexOf(u'=', at) + 1).section(QRegularExpression(u"[^0-9]"_s), 0, 0).toInt());
    }
    return numbers;
  };
  EXPECT_EQ(hints(), (QList<int>{2100, 2550, 3000}));
  shape_.lastMaxBitrateKbps = 300;
  EXPECT_EQ(hints(), (QList<int>{350, 425, 500}));
  shape_.xGoogleMaxKbpsOverride = 100;
  EXPECT_EQ(hints(), (QList<int>{350, 425, 500}));
  shape_.xGoogleMinKbpsOverride = 1;
  shape_.xGoogleStartKbpsOverride = 9999;
  EXPECT_EQ(hints(), (QList<int>{1, 9999, 500}));
}

// Answers

TEST_F(NegotiationTest, appliesTheAnswerToAnOffer) {
  offer();
  answer(answerText(u"AA:BB"_s, u"u1"_s));
  EXPECT_EQ(peer().remoteAnswers, QStringList{answerText(u"AA:BB"_s, u"u1"_s)});
  EXPECT_EQ(replaced_, 0);
}

TEST_F(NegotiationTest, ignoresAnAnswerWithoutText) {
  offer();
  for (const JsonObject& message : {JsonObject{}, JsonObject{{u"sdp"_s, 5}}, JsonObject{{u"sdp"_s, QJsonValue()}},
                                    JsonObject{{u"sdp"_s, JsonObject{}}}}) {
    negotiation_.handleAnswer(message);
  }
  peer().settle();
  EXPECT_TRUE(peer().remoteAnswers.isEmpty());
  EXPECT_EQ(sent_.size(), 1);
}

TEST_F(NegotiationTest, dropsAMisplacedAnswerAndOffersAgain) {
  ice(candidateObject(u"candidate:1"_s));
  answer(answerText(u"AA:BB"_s, u"u1"_s));
  EXPECT_TRUE(log_.lines().contains(u"[sdp] answer when state=stable → renegotiate"_s));
  EXPECT_TRUE(peer().remoteAnswers.isEmpty());
  EXPECT_EQ(negotiation_.pendingCandidates(), 0);
  ASSERT_EQ(sent_.size(), 1);
  EXPECT_EQ(sent_[0].value(u"type"), QJsonValue(u"offer"_s));
}

TEST_F(NegotiationTest, namesTheStateOfAMisplacedAnswer) {
  for (const auto& [state, name] : std::initializer_list<std::pair<SignalingState, QString>>{
           {SignalingState::stable, u"stable"_s},
           {SignalingState::haveLocalPrAnswer, u"have-local-pranswer"_s},
           {SignalingState::haveRemoteOffer, u"have-remote-offer"_s},
           {SignalingState::haveRemotePrAnswer, u"have-remote-pranswer"_s},
           {SignalingState::closed, u"closed"_s}}) {
    log_.clear();
    peer().signalingState = state;
    negotiation_.handleAnswer({{u"sdp"_s, u"v=0"_s}});
    EXPECT_EQ(log_.lines(), QStringList{u"[sdp] answer when state="_s + name + u" → renegotiate"_s});
  }
}

TEST_F(NegotiationTest, logsAnAnswerThatCannotBeApplied) {
  offer();
  peer().remoteError = u"no description"_s;
  answer(u"junk"_s);
  EXPECT_EQ(log_.lines().last(), u"SRD error: no description"_s);
  EXPECT_EQ(sent_.size(), 1) << "nothing is retried";
}

// Candidates

TEST_F(NegotiationTest, queuesCandidatesUntilTheAnswerIsAppliedAndKeepsTheirOrder) {
  offer();
  ice(candidateObject(u"a"_s));
  ice(candidateObject(u"b"_s));
  EXPECT_TRUE(peer().candidates.isEmpty());
  EXPECT_EQ(negotiation_.pendingCandidates(), 2);
  answer(answerText(u"AA"_s, u"u1"_s));
  EXPECT_EQ(candidateLines(), (QStringList{u"a"_s, u"b"_s}));
  EXPECT_EQ(negotiation_.pendingCandidates(), 0);
  ice(candidateObject(u"c"_s));
  EXPECT_EQ(candidateLines(), (QStringList{u"a"_s, u"b"_s, u"c"_s}));
}

TEST_F(NegotiationTest, addsQueuedCandidatesEvenWhenTheAnswerFailed) {
  offer();
  ice(candidateObject(u"a"_s));
  peer().remoteError = u"bad"_s;
  answer(u"junk"_s);
  EXPECT_EQ(candidateLines(), QStringList{u"a"_s});
  EXPECT_EQ(negotiation_.pendingCandidates(), 0);
}

TEST_F(NegotiationTest, readsTheFieldsOfACandidate) {
  offer();
  answer(answerText(u"AA"_s, u"u1"_s));
  ice(JsonObject{{u"candidate"_s, u"x"_s}, {u"sdpMLineIndex"_s, 2}, {u"sdpMid"_s, u"m"_s}});
  ice(JsonObject{});
  ice(JsonObject{{u"candidate"_s, 5}, {u"sdpMLineIndex"_s, u"1"_s}, {u"sdpMid"_s, QJsonValue()}});
  ice(JsonObject{{u"sdpMLineIndex"_s, 4'294'967'297.0}});
  ice(JsonObject{{u"sdpMLineIndex"_s, -1}});
  ice(JsonObject{{u"sdpMLineIndex"_s, std::numeric_limits<qint32>::max()}});
  EXPECT_EQ(peer().candidates, (QList<IceCandidate>{{u"x"_s, u"m"_s, 2},
                                                    {u""_s, std::nullopt, 0},
                                                    {u""_s, std::nullopt, 0},
                                                    {u""_s, std::nullopt, 0},
                                                    {u""_s, std::nullopt, -1},
                                                    {u""_s, std::nullopt, 2'147'483'647}}));
}

TEST_F(NegotiationTest, ignoresIceWithoutACandidateObject) {
  for (const QJsonValue& value :
       {QJsonValue(), QJsonValue(u"candidate:1"_s), QJsonValue(1), QJsonValue(QJsonArray{})}) {
    ice(value);
  }
  negotiation_.handleIce({});
  EXPECT_EQ(negotiation_.pendingCandidates(), 0);
}

TEST_F(NegotiationTest, logsACandidateThatCannotBeAdded) {
  offer();
  answer(answerText(u"AA"_s, u"u1"_s));
  peer().candidateError = u"not a candidate"_s;
  ice(candidateObject(u"junk"_s));
  EXPECT_EQ(log_.lines().last(), u"add candidate error: not a candidate"_s);
}

TEST_F(NegotiationTest, boundsTheQueueOfCandidates) {
  offer();
  for (int i = 0; i < 2000; ++i) ice(candidateObject(u"x"_s));
  EXPECT_LE(negotiation_.pendingCandidates(), 1000);
  EXPECT_GE(negotiation_.pendingCandidates(), 100);
}

TEST_F(NegotiationTest, boundsTheQueueOfCandidatesInCharactersToo) {
  offer();
  for (int i = 0; i < 200; ++i) ice(candidateObject(QString(100'000, u'x')));
  EXPECT_LE(negotiation_.pendingCandidates(), 3);
  // Candidates of realistic size still fit.
  for (int i = 0; i < 20; ++i) ice(candidateObject(QString(150, u'y')));
  EXPECT_GE(negotiation_.pendingCandidates(), 20);
}

TEST_F(NegotiationTest, keepsQueuedCandidatesForARebuiltConnection) {
  ice(candidateObject(u"a"_s));
  attachNewPeer();
  EXPECT_EQ(negotiation_.pendingCandidates(), 1);
  offer();
  answer(answerText(u"AA"_s, u"u1"_s));
  EXPECT_EQ(candidateLines(), QStringList{u"a"_s});
}

TEST_F(NegotiationTest, sendsGeneratedCandidatesAtOnce) {
  negotiation_.sendCandidate({u"candidate:1 1 udp"_s, u"0"_s, 0});
  negotiation_.sendCandidate({u"candidate:2"_s, std::nullopt, 1});
  EXPECT_EQ(sent_[0], (JsonObject{{u"type"_s, u"ice"_s},
                                  {u"candidate"_s, JsonObject{{u"candidate"_s, u"candidate:1 1 udp"_s},
                                                              {u"sdpMid"_s, u"0"_s},
                                                              {u"sdpMLineIndex"_s, 0}}}}));
  const JsonObject second = sent_[1].value(u"candidate").toObject();
  EXPECT_TRUE(second.contains(u"sdpMid"));
  EXPECT_TRUE(second.value(u"sdpMid").isNull());
  EXPECT_EQ(second.value(u"sdpMLineIndex"), QJsonValue(1));
}

TEST_F(NegotiationTest, sendsCandidatesAgainThatAnOfferLacks) {
  const QString inOffer = u"candidate:1 1 udp 2 10.0.0.1 5 typ host generation 0"_s;
  const QString lost = u"candidate:2 1 udp 2 10.0.0.2 5 typ host generation 0"_s;
  peer().offer = offerText() + u"a=ice-ufrag:abcd\r\na="_s + inOffer + u" network-id 1\r\n"_s;
  negotiation_.sendCandidate({inOffer + u" ufrag abcd network-id 1"_s, u"0"_s, 0});
  negotiation_.sendCandidate({lost + u" ufrag abcd network-id 1"_s, u"0"_s, 0});
  sent_.clear();
  for (int viewer = 0; viewer < 2; ++viewer) {
    offer();
    ASSERT_EQ(sent_.size(), 2);
    EXPECT_EQ(sent_[0].value(u"type"), u"offer"_s);
    EXPECT_EQ(sent_[1].value(u"candidate").toObject().value(u"candidate"), lost + u" ufrag abcd network-id 1"_s);
    sent_.clear();
  }
}

TEST_F(NegotiationTest, sendsNoCandidatesAgainOfAnEarlierIceSessionOrConnection) {
  const IceCandidate old{u"candidate:1 1 udp 2 10.0.0.1 5 typ host generation 0 ufrag abcd"_s, u"0"_s, 0};
  negotiation_.sendCandidate(old);
  peer().offer = offerText() + u"a=ice-ufrag:efgh\r\n"_s;
  offer();
  EXPECT_EQ(sent_.size(), 2);
  negotiation_.sendCandidate(old);
  attachNewPeer();
  offer();
  EXPECT_EQ(sent_.size(), 4);
  EXPECT_EQ(sent_.last().value(u"type"), u"offer"_s);
}

}  // namespace
}  // namespace vantora
