#include <QDir>

#include "main/video/sdp/SdpInspect.h"
#include "tests/fakes/RecordedLog.h"
#include "tests/peer/LibPeerFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using testloop::waitFor;

TEST_F(LibPeerConnectionTest, takesTheAnswerOfTheLibraryAndTellsTheState) {
  const QString offer = makeOffered();
  EXPECT_EQ(peer_->signalingState(), SignalingState::haveLocalOffer);
  EXPECT_FALSE(peer_->hasRemoteDescription());
  EXPECT_EQ(apply(answerOf(offer)), std::nullopt);
  EXPECT_EQ(peer_->signalingState(), SignalingState::stable);
  EXPECT_TRUE(peer_->hasRemoteDescription());
  peer_->close();
  EXPECT_EQ(peer_->signalingState(), SignalingState::closed);
}

TEST_F(LibPeerConnectionTest, refusesTextsThatAreNoAnswer) {
  const QString offer = makeOffered();
  for (const QString& text : {u""_s, u"v=0"_s, u"junk"_s, QString(QChar(0)), QString(2'000'000, u'x'),
                              u"v=0\r\n"_s.repeated(100'000), QString(QChar(0xD800)), u"a=fingerprint:"_s}) {
    EXPECT_NE(apply(text), std::nullopt) << text.left(40).toStdString();
  }
  EXPECT_EQ(apply(answerOf(offer)), std::nullopt) << "the connection is as it was";
  EXPECT_EQ(broken_, 0);
}

TEST_F(LibPeerConnectionTest, tellsWhenAnAnswerLeftTheConnectionUnusable) {
  QString answer = answerOf(makeOffered());
  answer.replace(u"a=setup:active"_s, u"a=setup:actpass"_s);
  EXPECT_NE(apply(answer), std::nullopt);
  EXPECT_TRUE(waitFor([&] { return broken_ == 1; }));
}

TEST_F(LibPeerConnectionTest, refusesCandidatesBeforeThereIsADescription) {
  makeOffered();
  EXPECT_NE(add({u"candidate:1 1 udp 1 10.77.0.1 9 typ host"_s, u"0"_s, 0}), std::nullopt);
}

TEST_F(LibPeerConnectionTest, takesOffersAgainWhileOneIsOutstanding) {
  makeOffered();
  QString last;
  for (int i = 0; i < 5; ++i) last = reoffer();
  EXPECT_EQ(peer_->signalingState(), SignalingState::haveLocalOffer);
  EXPECT_EQ(apply(answerOf(last)), std::nullopt);
}

TEST_F(LibPeerConnectionTest, takesARestartOfIceIntoTheNextOffer) {
  const QString first = makeOffered();
  ASSERT_EQ(apply(answerOf(first)), std::nullopt);
  EXPECT_EQ(iceUfrag(reoffer()), iceUfrag(first));
  EXPECT_TRUE(peer_->restartIce());
  EXPECT_NE(iceUfrag(reoffer()), iceUfrag(first));
}

TEST_F(LibPeerConnectionTest, knowsWhatTheLinkCarriesOnceItIsConnected) {
  std::optional<LinkSample> sample;
  const auto read = [&] {
    sample.reset();
    peer_->readLink([&](const LinkSample& read) { sample = read; });
    return waitFor([&] { return sample.has_value(); });
  };
  const QString offer = makeOffered();
  ASSERT_TRUE(read());
  EXPECT_EQ(sample->estimateBps, std::nullopt);
  EXPECT_EQ(sample->framesEncoded.value_or(0), 0U);
  EXPECT_EQ(sample->localAddress, QString());
  ASSERT_EQ(apply(answerOf(offer)), std::nullopt);
  source_->start();
  ASSERT_TRUE(waitFor([&] {
    passCandidates();
    return read() && sample->estimateBps && sample->framesEncoded.value_or(0) > 2;
  }));
  EXPECT_GT(*sample->estimateBps, 10'000);
  EXPECT_EQ(sample->localAddress, u"10.77.0.1"_s);
  EXPECT_GT(sample->encodeSeconds.value_or(0), 0);
  EXPECT_FALSE(sample->codec.isEmpty() || sample->codec.contains(u'/')) << sample->codec.toStdString();
}

TEST_F(LibPeerConnectionTest, answersNothingAfterTheClose) {
  makeOffered();
  int completions = 0;
  peer_->createOffer({}, [&](const QString&, const std::optional<QString>&) { ++completions; });
  peer_->setRemoteAnswer(u"junk"_s, [&](const std::optional<QString>&) { ++completions; });
  peer_->addCandidate({}, [&](const std::optional<QString>&) { ++completions; });
  peer_->readLink([&](const LinkSample&) { ++completions; });
  peer_->close();
  // Everything posted before this has been handled when this runs.
  bool later = false;
  QMetaObject::invokeMethod(
      QCoreApplication::instance(), [&] { later = true; }, Qt::QueuedConnection);
  EXPECT_TRUE(waitFor([&] { return later; }));
  EXPECT_EQ(completions, 0);
}

TEST_F(LibPeerConnectionTest, leavesOutServersThatAreNoAddresses) {
  const fakes::RecordedLog log;
  const auto peer = runtime_->createPeerConnection({{u"nonsense"_s, std::nullopt, std::nullopt},
                                                    {u""_s, std::nullopt, std::nullopt},
                                                    {u"turn:10.77.0.1:3478"_s, std::nullopt, std::nullopt},
                                                    {u"stun:10.77.0.1:3478"_s, std::nullopt, std::nullopt},
                                                    {u"turn:10.77.0.1:3479"_s, u"u"_s, u"c"_s}},
                                                   {});
  EXPECT_NE(peer, nullptr);
  ASSERT_EQ(log.lines().size(), 3) << log.lines().join(u'\n').toStdString();
  EXPECT_TRUE(log.lines()[0].startsWith(u"[ice] ignoring server nonsense: "_s));
  EXPECT_TRUE(log.lines()[1].startsWith(u"[ice] ignoring server : "_s));
  EXPECT_TRUE(log.lines()[2].startsWith(u"[ice] ignoring server turn:10.77.0.1:3478: "_s));
}

qsizetype entries(const QString& folder) {
  return QDir(folder).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}
qsizetype threads() { return entries(u"/proc/self/task"_s); }
qsizetype files() { return entries(u"/proc/self/fd"_s); }

TEST_F(LibPeerConnectionTest, leavesNothingBehindOverManyRebuilds) {
  const auto rebuild = [&] {
    const QString offer = makeOffered();
    EXPECT_EQ(apply(answerOf(offer)), std::nullopt);
    viewer_.reset();
    sender_.reset();
    channel_.reset();
    peer_.reset();
  };
  rebuild();  // Creates everything that is made once and kept.
  const qsizetype threadsBefore = threads();
  const qsizetype filesBefore = files();
  for (int i = 0; i < 20; ++i) rebuild();
  EXPECT_TRUE(waitFor([&] { return threads() <= threadsBefore && files() <= filesBefore; }))
      << "threads " << threadsBefore << " -> " << threads() << ", files " << filesBefore << " -> " << files();
}

TEST_F(LibPeerConnectionTest, leavesNothingBehindOverManyReoffers) {
  ASSERT_EQ(apply(answerOf(makeOffered())), std::nullopt);
  ASSERT_TRUE(waitFor([&] {
    passCandidates();
    return viewer_->isOpen(u"control"_s);
  }));
  const auto again = [&](int times) {
    for (int i = 0; i < times; ++i) ASSERT_EQ(apply(nextAnswerOf(reoffer())), std::nullopt) << i;
  };
  again(5);  // Creates everything that is made once and kept.
  const qsizetype threadsBefore = threads();
  const qsizetype filesBefore = files();
  again(200);
  EXPECT_TRUE(waitFor([&] { return threads() <= threadsBefore && files() <= filesBefore; }))
      << "threads " << threadsBefore << " -> " << threads() << ", files " << filesBefore << " -> " << files();
  EXPECT_TRUE(viewer_->isOpen(u"control"_s));
}

}  // namespace
}  // namespace vantora
