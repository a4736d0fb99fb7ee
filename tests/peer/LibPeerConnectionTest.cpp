#include <gtest/gtest.h>

#include <QDir>
#include <limits>
#include <random>

#include "main/rtc/WebRtcRuntime.h"
#include "main/video/sdp/SdpInspect.h"
#include "main/video/sources/DummyVideoSource.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/PrintQt.h"
#include "tests/fakes/RecordedLog.h"
#include "tests/peer/ViewerPeer.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using testing_loop::waitFor;

class LibPeerConnectionTest : public testing::Test {
 protected:
  LibPeerConnectionTest() {
    testing_loop::ensureApplication();
    runtime_ = makeWebRtcRuntime();
  }
  ~LibPeerConnectionTest() override {
    sender_.reset();
    channel_.reset();
    peer_.reset();
    source_.reset();
    runtime_.reset();
    testing_loop::drain();
  }
  // A connection with a channel and a track, its offer set; the offer's text.
  QString makeOffered() {
    PeerEvents events;
    events.descriptionBroken = [this] { ++broken_; };
    events.candidateGenerated = [this](const IceCandidate& candidate) { ourCandidates_.append(candidate); };
    peer_ = runtime_->createPeerConnection({}, std::move(events));
    channel_ = peer_->createDataChannel(u"control"_s, {});
    if (!source_) source_ = std::make_unique<DummyVideoSource>(30, 320, 240, Environment::of({}));
    sender_ = peer_->addVideoTransceiver(*source_);
    return reoffer();
  }
  QString reoffer() {
    QString offer;
    bool done = false;
    peer_->createOffer({.receiveVideo = true}, [&](const QString& sdp, const std::optional<QString>& error) {
      EXPECT_FALSE(error) << error->toStdString();
      offer = sdp;
      peer_->setLocalOffer(sdp, [&](const std::optional<QString>& failure) {
        EXPECT_FALSE(failure) << failure->toStdString();
        done = true;
      });
    });
    EXPECT_TRUE(waitFor([&] { return done; }));
    return offer;
  }
  // Error text of the answer; none on success.
  std::optional<QString> apply(const QString& answer) {
    std::optional<QString> result;
    bool done = false;
    peer_->setRemoteAnswer(answer, [&](std::optional<QString> error) {
      result = std::move(error);
      done = true;
    });
    EXPECT_TRUE(waitFor([&] { return done; }));
    return result;
  }
  std::optional<QString> add(const IceCandidate& candidate) {
    std::optional<QString> result;
    bool done = false;
    peer_->addCandidate(candidate, [&](std::optional<QString> error) {
      result = std::move(error);
      done = true;
    });
    EXPECT_TRUE(waitFor([&] { return done; }));
    return result;
  }
  static QString damaged(QString text, std::mt19937& random) {
    for (unsigned changes = random() % 6 + 1; changes > 0 && !text.isEmpty(); --changes) {
      const auto at = static_cast<qsizetype>(random() % static_cast<unsigned>(text.size()));
      switch (random() % 4) {
        case 0:
          text[at] = QChar(static_cast<char16_t>(random() % 128));
          break;
        case 1:
          text.remove(at, static_cast<qsizetype>(random() % 40));
          break;
        case 2:
          text.insert(at, text.mid(static_cast<qsizetype>(random() % static_cast<unsigned>(text.size())), 80));
          break;
        default:
          text.insert(at, QString::number(static_cast<qint64>(random()) << (random() % 32)));
      }
    }
    return text;
  }
  // The answer of a new viewer.
  QString answerOf(const QString& offer) {
    viewer_ = std::make_unique<ViewerPeer>();
    viewer_->onCandidate([this](const IceCandidate& candidate) { itsCandidates_.append(candidate); });
    return nextAnswerOf(offer);
  }
  QString nextAnswerOf(const QString& offer) {
    QString answer;
    viewer_->answer(offer, [&](const QString& sdp) { answer = sdp; });
    EXPECT_TRUE(waitFor([&] { return !answer.isEmpty(); }));
    return answer;
  }

  std::unique_ptr<PeerConnectionFactory> runtime_;
  std::unique_ptr<DummyVideoSource> source_;
  std::unique_ptr<PeerConnection> peer_;
  std::unique_ptr<DataChannel> channel_;
  std::unique_ptr<VideoSender> sender_;
  QList<IceCandidate> ourCandidates_;
  QList<IceCandidate> itsCandidates_;
  std::unique_ptr<ViewerPeer> viewer_;
  int broken_ = 0;
};

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

TEST_F(LibPeerConnectionTest, survivesDamagedAnswers) {
  std::mt19937 random(11);
  QString offer = makeOffered();
  const QString answer = answerOf(offer);
  for (int i = 0; i < 100; ++i) {
    const QString text = damaged(answer, random);
    apply(text);
    // Some damage leaves a valid answer, some spoils the connection: the next answer needs a fresh one then.
    if (peer_->signalingState() != SignalingState::haveLocalOffer || i % 10 == 0) makeOffered();
  }
}

TEST_F(LibPeerConnectionTest, refusesOddCandidates) {
  const QString good = u"candidate:1 1 udp 2130706431 10.77.0.1 40000 typ host"_s;
  EXPECT_EQ(apply((makeOffered(), answerOf(reoffer()))), std::nullopt);
  for (const IceCandidate& candidate :
       {IceCandidate{u""_s, std::nullopt, 0}, IceCandidate{u"junk"_s, u"0"_s, 0}, IceCandidate{good, std::nullopt, -1},
        IceCandidate{good, std::nullopt, std::numeric_limits<int>::min()},
        IceCandidate{good, std::nullopt, std::numeric_limits<int>::max()}, IceCandidate{good, u"no such mid"_s, 0},
        IceCandidate{QString(1'000'000, u'x'), u"0"_s, 0}, IceCandidate{good + QString(1'000'000, u' '), u"0"_s, 0},
        IceCandidate{good, QString(1'000'000, u'm'), 0}, IceCandidate{QString(QChar(0)), u"0"_s, 0},
        IceCandidate{u"candidate:1 1 udp 99999999999999999999 10.77.0.1 70000 typ host"_s, u"0"_s, 0},
        IceCandidate{u"candidate:1 -1 udp 1 10.77.0.1 -5 typ host"_s, u"0"_s, 0},
        IceCandidate{u"candidate:1 1 udp 1 10.77.0.1 9 typ nonsense"_s, u"0"_s, 0}}) {
    EXPECT_NE(add(candidate), std::nullopt)
        << candidate.candidate.left(60).toStdString() << ' ' << candidate.sdpMLineIndex;
  }
  EXPECT_EQ(add({good, u"0"_s, 0}), std::nullopt);
  EXPECT_NE(add({good, u"0"_s, -1}), std::nullopt);
}

TEST_F(LibPeerConnectionTest, survivesDamagedCandidates) {
  std::mt19937 random(5);
  apply(answerOf(makeOffered()));
  const QString good =
      u"candidate:842163049 1 udp 1677729535 10.77.0.1 40000 typ srflx raddr 0.0.0.0 rport 0 generation 0 "
      "ufrag abcd network-cost 999"_s;
  int answered = 0;
  for (int i = 0; i < 2000; ++i) {
    peer_->addCandidate({damaged(good, random), random() % 2 ? std::optional(u"0"_s) : std::nullopt,
                         static_cast<int>(random() % 5) - 1},
                        [&](const std::optional<QString>&) { ++answered; });
  }
  EXPECT_TRUE(waitFor([&] { return answered == 2000; }));
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

TEST_F(LibPeerConnectionTest, answersNothingAfterTheClose) {
  makeOffered();
  int completions = 0;
  peer_->createOffer({}, [&](const QString&, const std::optional<QString>&) { ++completions; });
  peer_->setRemoteAnswer(u"junk"_s, [&](const std::optional<QString>&) { ++completions; });
  peer_->addCandidate({}, [&](const std::optional<QString>&) { ++completions; });
  peer_->close();
  // Everything posted before this has had its turn when this comes.
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
  rebuild();  // What is made once and kept is made now.
  const qsizetype threadsBefore = threads();
  const qsizetype filesBefore = files();
  for (int i = 0; i < 20; ++i) rebuild();
  EXPECT_TRUE(waitFor([&] { return threads() <= threadsBefore && files() <= filesBefore; }))
      << "threads " << threadsBefore << " -> " << threads() << ", files " << filesBefore << " -> " << files();
}

TEST_F(LibPeerConnectionTest, leavesNothingBehindOverManyReoffers) {
  ASSERT_EQ(apply(answerOf(makeOffered())), std::nullopt);
  ASSERT_TRUE(waitFor([&] {
    for (const IceCandidate& candidate : std::exchange(ourCandidates_, {})) viewer_->addCandidate(candidate);
    for (const IceCandidate& candidate : std::exchange(itsCandidates_, {})) EXPECT_EQ(add(candidate), std::nullopt);
    return viewer_->isOpen(u"control"_s);
  }));
  const auto again = [&](int times) {
    for (int i = 0; i < times; ++i) ASSERT_EQ(apply(nextAnswerOf(reoffer())), std::nullopt) << i;
  };
  again(5);  // What is made once and kept is made now.
  const qsizetype threadsBefore = threads();
  const qsizetype filesBefore = files();
  again(200);
  EXPECT_TRUE(waitFor([&] { return threads() <= threadsBefore && files() <= filesBefore; }))
      << "threads " << threadsBefore << " -> " << threads() << ", files " << filesBefore << " -> " << files();
  EXPECT_TRUE(viewer_->isOpen(u"control"_s));
}

}  // namespace
}  // namespace vantora
