#include "main/session/peer/Negotiation.h"

#include <algorithm>
#include <limits>

#include "base/Log.h"
#include "main/video/sdp/BitrateHints.h"
#include "main/video/sdp/CodecNames.h"
#include "main/video/sdp/SdpInspect.h"
#include "main/video/sdp/SdpTools.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// A viewer has few addresses; more than this before an answer is an attack.
constexpr qsizetype kMaxPendingCandidates = 256;
constexpr qsizetype kMaxPendingTexts = 256 * 1024;  // Characters of all of them.
// Queued requests for offers while one is being made; further requests would get the same offers.
constexpr int kMaxOffersWaiting = 4;

// By which the text of a candidate names its ICE session.
QString iceSessionOf(const QString& ufrag) { return u" ufrag "_s + ufrag; }

}  // namespace

QString shapeOffer(QString sdp, const OfferShape& shape) {
  bool rewriteProfile = true;
  if (shape.preferredCodecName && !shape.preferredCodecName->isEmpty()) {
    sdp = SdpTools::preferCodec(sdp, *shape.preferredCodecName);
    rewriteProfile = *shape.preferredCodecName == "h264"_L1;
  } else {
    sdp = SdpTools::preferH264(sdp);
  }
  if (rewriteProfile && shape.h264Profile && !shape.h264Profile->isEmpty() && fitsIntoOffer(*shape.h264Profile)) {
    sdp = SdpTools::rewriteH264Profile(sdp, *shape.h264Profile);
  }
  const BitrateHints hints = bitrateHints(shape.lastMaxBitrateKbps, shape.xGoogleMinKbpsOverride,
                                          shape.xGoogleStartKbpsOverride, shape.xGoogleMaxKbpsOverride);
  sdp = SdpTools::setH264BitrateHints(sdp, hints.minKbps, hints.startKbps, hints.maxKbps);
  return SdpTools::setVP8BitrateHints(sdp, hints.minKbps, hints.startKbps, hints.maxKbps);
}

void Negotiation::attach(PeerConnection* peer) {
  peer_ = peer;
  localCandidates_.clear();
  remoteFingerprint_.reset();
  unansweredOffers_ = 0;
  offering_ = false;
  offersWaiting_ = 0;
}

void Negotiation::makeOffer() {
  if (!peer_) return;
  // The library refuses an offer that was created before the one ahead of it was set.
  if (offering_) {
    offersWaiting_ = std::min(offersWaiting_ + 1, kMaxOffersWaiting);
    return;
  }
  offering_ = true;
  PeerConnection* const peer = peer_;
  // The connection drops completions once it is closed, so `peer` is valid inside them.
  peer->createOffer({.receiveVideo = true, .receiveAudio = false},
                    [this, peer](const QString& sdp, const std::optional<QString>& error) {
                      if (peer != peer_) return;
                      if (error) {
                        logLine(u"offer error: "_s + *error);
                        offerEnded();
                        return;
                      }
                      const QString rewritten = shapeOffer(sdp, callbacks_.offerShape());
                      peer->setLocalOffer(rewritten, [this, peer, rewritten](const std::optional<QString>& failure) {
                        if (peer == peer_) sendOffer(rewritten, failure);
                      });
                    });
}

void Negotiation::sendOffer(const QString& sdp, const std::optional<QString>& failure) {
  if (failure) {
    logLine(u"setLocalDescription error: "_s + *failure);
  } else {
    ++unansweredOffers_;
    callbacks_.send({{u"type"_s, u"offer"_s}, {u"sdp"_s, sdp}});
    sendCandidatesMissingIn(sdp);
  }
  offerEnded();
}

void Negotiation::offerEnded() {
  offering_ = false;
  if (offersWaiting_ == 0) return;
  --offersWaiting_;
  makeOffer();
}

void Negotiation::handleAnswer(const JsonObject& message) {
  const auto sdp = stringField(message, "sdp"_L1);
  if (!sdp || !peer_) return;
  if (staleAnswersLeft_ > 0 && iceUfrag(*sdp) == staleIceUfrag_) {
    --staleAnswersLeft_;
    return;
  }
  const SignalingState state = peer_->signalingState();
  if (state != SignalingState::haveLocalOffer) {
    logLine(u"[sdp] answer when state="_s + signalingStateName(state) + u" → renegotiate"_s);
    clearPendingCandidates();
    makeOffer();
    return;
  }
  const auto fingerprint = dtlsFingerprint(*sdp);
  if (remoteFingerprint_ && fingerprint && *fingerprint != *remoteFingerprint_) {
    staleIceUfrag_ = iceUfrag(*sdp);
    staleAnswersLeft_ = unansweredOffers_ - 1;
    callbacks_.viewerReplaced();
    return;
  }
  applyAnswer(*sdp);
}

void Negotiation::applyAnswer(const QString& sdp) {
  PeerConnection* const peer = peer_;
  const auto done = [this, peer, fingerprint = dtlsFingerprint(sdp)](const std::optional<QString>& error) {
    if (peer != peer_) return;
    if (error) {
      logLine(u"SRD error: "_s + *error);
    } else {
      remoteFingerprint_ = fingerprint;
      unansweredOffers_ = 0;
    }
    // Also after an error: candidates may belong to an answer that is applied later.
    const QList<IceCandidate> queued = std::exchange(pendingRemoteCandidates_, {});
    for (const IceCandidate& candidate : queued) addCandidateCompat(candidate);
  };
  peer->setRemoteAnswer(sdp, done);
}

void Negotiation::handleIce(const JsonObject& message) {
  const auto body = objectField(message, "candidate"_L1);
  if (!body || !peer_) return;
  IceCandidate candidate;
  candidate.candidate = stringField(*body, "candidate"_L1).value_or(QString());
  const qint64 index = integerField(*body, "sdpMLineIndex"_L1).value_or(0);
  if (index >= std::numeric_limits<qint32>::min() && index <= std::numeric_limits<qint32>::max()) {
    candidate.sdpMLineIndex = static_cast<int>(index);
  }
  candidate.sdpMid = stringField(*body, "sdpMid"_L1);
  if (peer_->hasRemoteDescription()) {
    addCandidateCompat(candidate);
  } else {
    keepForLater(candidate);
  }
}

void Negotiation::keepForLater(const IceCandidate& candidate) {
  const auto length = [](const IceCandidate& each) {
    return each.candidate.size() + each.sdpMid.value_or(QString()).size();
  };
  qsizetype characters = length(candidate);
  for (const IceCandidate& each : std::as_const(pendingRemoteCandidates_)) characters += length(each);
  if (pendingRemoteCandidates_.size() >= kMaxPendingCandidates || characters > kMaxPendingTexts) return;
  pendingRemoteCandidates_.append(candidate);
}

void Negotiation::addCandidateCompat(const IceCandidate& candidate) {
  peer_->addCandidate(candidate, [](const std::optional<QString>& error) {
    if (error) logLine(u"add candidate error: "_s + *error);
  });
}

void Negotiation::sendCandidate(const IceCandidate& candidate) {
  if (localCandidates_.size() < kMaxPendingCandidates) localCandidates_.append(candidate);
  send(candidate);
}

void Negotiation::sendCandidatesMissingIn(const QString& sdp) {
  const QString session = iceSessionOf(iceUfrag(sdp).value_or(QString()));
  localCandidates_.removeIf([&session](const IceCandidate& each) { return !each.candidate.contains(session); });
  for (const IceCandidate& candidate : std::as_const(localCandidates_)) {
    // The description names the session once for all of its candidates.
    const QStringView text(candidate.candidate);
    if (!sdp.contains(text.first(text.indexOf(session)))) send(candidate);
  }
}

void Negotiation::send(const IceCandidate& candidate) {
  const JsonObject body{{u"candidate"_s, candidate.candidate},
                        {u"sdpMid"_s, candidate.sdpMid ? QJsonValue(*candidate.sdpMid) : QJsonValue(QJsonValue::Null)},
                        {u"sdpMLineIndex"_s, candidate.sdpMLineIndex}};
  callbacks_.send({{u"type"_s, u"ice"_s}, {u"candidate"_s, body}});
}

}  // namespace vantora
