// A connection of the WebRTC library with an offer, and the answers that a test applies to it.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <random>

#include "main/rtc/WebRtcRuntime.h"
#include "main/video/encoders/EncoderFactory.h"
#include "main/video/sources/DummyVideoSource.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/PrintQt.h"
#include "tests/peer/ViewerPeer.h"

namespace vantora {

class LibPeerConnectionTest : public testing::Test {
 protected:
  LibPeerConnectionTest() {
    testloop::ensureApplication();
    runtime_ = makeWebRtcRuntime(makeVideoEncoderFactory);
  }
  ~LibPeerConnectionTest() override {
    viewer_.reset();
    sender_.reset();
    channel_.reset();
    peer_.reset();
    source_.reset();
    runtime_.reset();
    testloop::drain();
  }
  // Makes a connection with a channel and a track and sets its offer; returns the offer's text.
  QString makeOffered() {
    PeerEvents events;
    events.descriptionBroken = [this] { ++broken_; };
    events.transportFailed = [this] { ++failedTransports_; };
    events.candidateGenerated = [this](const IceCandidate& candidate) { ourCandidates_.append(candidate); };
    peer_ = runtime_->createPeerConnection({}, std::move(events));
    channel_ = peer_->createDataChannel(QStringLiteral("control"), {});
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
    EXPECT_TRUE(testloop::waitFor([&] { return done; }));
    return offer;
  }
  // Applies an answer; returns the error text, empty on success.
  std::optional<QString> apply(const QString& answer) {
    std::optional<QString> result;
    bool done = false;
    peer_->setRemoteAnswer(answer, [&](std::optional<QString> error) {
      result = std::move(error);
      done = true;
    });
    EXPECT_TRUE(testloop::waitFor([&] { return done; }));
    return result;
  }
  std::optional<QString> add(const IceCandidate& candidate) {
    std::optional<QString> result;
    bool done = false;
    peer_->addCandidate(candidate, [&](std::optional<QString> error) {
      result = std::move(error);
      done = true;
    });
    EXPECT_TRUE(testloop::waitFor([&] { return done; }));
    return result;
  }
  // Exchanges the candidates gathered since the last call, both ways.
  void passCandidates() {
    for (const IceCandidate& candidate : std::exchange(ourCandidates_, {})) viewer_->addCandidate(candidate);
    for (const IceCandidate& candidate : std::exchange(itsCandidates_, {})) EXPECT_EQ(add(candidate), std::nullopt);
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
    EXPECT_TRUE(testloop::waitFor([&] { return !answer.isEmpty(); }));
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
  int failedTransports_ = 0;
};

}  // namespace vantora
