// Offers, answers and ICE candidates. The host is always the offerer.
#pragma once

#include <QList>
#include <optional>

#include "base/Json.h"
#include "main/rtc/PeerConnection.h"

namespace vantora {

// What shapes the next offer; read again for every offer.
struct OfferShape {
  std::optional<QString> preferredCodecName;
  std::optional<QString> h264Profile;
  int lastMaxBitrateKbps = 3000;
  std::optional<int> xGoogleMinKbpsOverride;
  std::optional<int> xGoogleStartKbpsOverride;
  std::optional<int> xGoogleMaxKbpsOverride;
};

// Rewrites an offer of the library: payload order, H.264 profile, bit-rate hints. Pure but for the
// log lines of the functions it calls.
QString shapeOffer(QString sdp, const OfferShape& shape);

// Thread: main. Owner: Host. Lives across peer connections: candidates that wait for a remote
// description survive a rebuild.
class Negotiation {
 public:
  struct Callbacks {
    std::function<void(const JsonObject&)> send;
    std::function<OfferShape()> offerShape;
    // The answer comes from another viewer than the current one (another DTLS fingerprint): the library would accept it
    // silently and leave the data channels dead, so the peer connection must be rebuilt and offered again.
    std::function<void()> viewerReplaced;
  };

  explicit Negotiation(Callbacks callbacks) : callbacks_(std::move(callbacks)) {}

  // The connection that everything below works on; null while there is none. It must be detached before it is
  // destroyed.
  void attach(PeerConnection* peer);

  // Creates, rewrites, sets and sends an offer; while one is being made, further calls are queued, up to a small limit.
  // Needs an attached connection.
  void makeOffer();
  // "answer": applies it or, in the wrong state, drops it and offers again.
  void handleAnswer(const JsonObject& message);
  // "ice": adds the candidate, or queues it until there is a remote description.
  void handleIce(const JsonObject& message);
  // Drops queued candidates.
  void clearPendingCandidates() { pendingRemoteCandidates_.clear(); }
  qsizetype pendingCandidates() const { return pendingRemoteCandidates_.size(); }

  // A candidate that the local side generated: sent at once, and again behind each offer that lacks it. The library
  // leaves those out of an offer that it found while the one before was being set; a viewer that joined meanwhile would
  // never learn of them.
  void sendCandidate(const IceCandidate& candidate);

 private:
  void sendOffer(const QString& sdp, const std::optional<QString>& failure);
  void send(const IceCandidate& candidate);
  // Drops those of earlier ICE sessions.
  void sendCandidatesMissingIn(const QString& sdp);
  void offerEnded();
  void applyAnswer(const QString& sdp);
  // Bounded in number and in characters; what exceeds that is dropped.
  void keepForLater(const IceCandidate& candidate);
  void addCandidateCompat(const IceCandidate& candidate);

  Callbacks callbacks_;
  PeerConnection* peer_ = nullptr;
  QList<IceCandidate> pendingRemoteCandidates_;
  QList<IceCandidate> localCandidates_;  // Of this connection.
  // Fingerprint of the current answer; empty before the first one of this connection.
  std::optional<QString> remoteFingerprint_;
  // ICE user name of the answer that made the last rebuild necessary: that viewer may have answered
  // older offers of the previous connection too, and those answers must not reach the new one.
  std::optional<QString> staleIceUfrag_;
  int staleAnswersLeft_ = 0;
  // Offers sent on this connection for which no answer was applied yet.
  int unansweredOffers_ = 0;
  bool offering_ = false;  // An offer is being created or set.
  int offersWaiting_ = 0;  // How many more are to follow it.
};

}  // namespace vantora
