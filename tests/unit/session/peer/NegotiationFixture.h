// The exchange of offers, answers and candidates over a fake connection.
#pragma once

#include <gtest/gtest.h>

#include "main/session/peer/Negotiation.h"
#include "tests/fakes/FakePeerConnection.h"
#include "tests/fakes/RecordedLog.h"

namespace vantora {

class NegotiationFixture : public testing::Test {
 protected:
  NegotiationFixture() { attachNewPeer(); }
  ~NegotiationFixture() override { negotiation_.attach(nullptr); }

  void attachNewPeer() {
    negotiation_.attach(nullptr);
    connection_ = factory_.createPeerConnection({}, {});
    negotiation_.attach(connection_.get());
  }
  fakes::FakePeer& peer() { return factory_.last(); }
  void offer() {
    negotiation_.makeOffer();
    peer().settle();
  }
  void answer(const QString& sdp) {
    negotiation_.handleAnswer({{QStringLiteral("type"), QStringLiteral("answer")}, {QStringLiteral("sdp"), sdp}});
    peer().settle();
  }
  void ice(const QJsonValue& candidate) {
    negotiation_.handleIce({{QStringLiteral("type"), QStringLiteral("ice")}, {QStringLiteral("candidate"), candidate}});
    peer().settle();
  }
  static JsonObject candidateObject(const QString& line) {
    return {{QStringLiteral("candidate"), line}, {QStringLiteral("sdpMid"), QStringLiteral("0")}};
  }
  QStringList candidateLines() {
    QStringList lines;
    for (const IceCandidate& candidate : peer().candidates) lines.append(candidate.candidate);
    return lines;
  }

  fakes::RecordedLog log_;
  fakes::FakePeerConnectionFactory factory_;
  std::unique_ptr<PeerConnection> connection_;
  OfferShape shape_;
  QList<JsonObject> sent_;
  int replaced_ = 0;
  Negotiation negotiation_{{.send = [this](const JsonObject& message) { sent_.append(message); },
                            .offerShape = [this] { return shape_; },
                            .viewerReplaced = [this] { ++replaced_; }}};
};

}  // namespace vantora
