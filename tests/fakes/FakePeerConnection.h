// Peer connections without the WebRTC library: the test acts as the library and the network.
#pragma once

#include <algorithm>
#include <deque>
#include <memory>
#include <vector>

#include "main/rtc/PeerConnection.h"
#include "tests/fakes/FakeDataChannel.h"
#include "tests/fakes/FakeVideoSender.h"
#include "tests/fakes/Journal.h"

namespace vantora::fakes {

inline QString offerText() {
  return QStringLiteral(
      "v=0\r\nm=video 9 UDP/TLS/RTP/SAVPF 96 97 98\r\na=rtpmap:96 VP8/90000\r\na=rtpmap:97 H264/90000\r\n"
      "a=rtpmap:98 VP9/90000\r\n"
      "a=fmtp:97 packetization-mode=1;profile-level-id=42e01f\r\n");
}
// An SDP answer with the attributes by which viewers are distinguished.
inline QString answerText(const QString& fingerprint, const QString& iceUfrag) {
  return QStringLiteral("v=0\r\nm=video 9 UDP/TLS/RTP/SAVPF 96\r\na=ice-ufrag:") + iceUfrag +
         QStringLiteral("\r\na=fingerprint:sha-256 ") + fingerprint + QStringLiteral("\r\n");
}

// The record of one connection. Stays readable after it is destroyed.
struct FakePeer {
  QList<IceServer> servers;
  PeerEvents events;
  SignalingState signalingState = SignalingState::stable;
  bool hasRemoteDescription = false;
  bool closed = false;
  bool destroyed = false;
  int restarts = 0;
  int keyFrames = 0;
  LinkSample link;
  int startBitrateBps = 0;
  int maxBitrateBps = 0;
  QList<OfferOptions> offerOptions;
  QStringList localOffers;
  QStringList remoteAnswers;
  QList<IceCandidate> candidates;
  std::vector<std::shared_ptr<FakeChannel>> channels;
  std::vector<std::shared_ptr<FakeSender>> senders;
  // Completions that are posted to the main thread.
  std::deque<std::function<void()>> completions;
  // The text of the next offers.
  QString offer = offerText();
  // Failures that the test selects.
  std::optional<QString> offerError;
  std::optional<QString> localError;
  std::optional<QString> remoteError;
  std::optional<QString> candidateError;
  bool refusesChannels = false;
  bool refusesTransceivers = false;
  bool canRestartIce = true;

  // Runs the posted completions, and those that they post.
  void settle() {
    while (!completions.empty()) {
      const auto completion = std::move(completions.front());
      completions.pop_front();
      completion();
    }
  }
  void reportIce(IceState state) {
    const auto report = events.iceStateChanged;
    if (!closed && report) report(state);
  }
  // The newest channel with this label.
  FakeChannel& channel(QLatin1StringView label) const {
    const auto found = std::find_if(channels.rbegin(), channels.rend(),
                                    [label](const auto& channel) { return channel->label == label; });
    if (found == channels.rend()) throw std::out_of_range("no such channel");
    return **found;
  }
  FakeChannel& control() const { return channel(QLatin1StringView("control")); }
  FakeChannel& reliable() const { return channel(QLatin1StringView("control_reliable")); }
  FakeSender& sender() const { return *senders.back(); }
};

class FakePeerConnection final : public PeerConnection {
 public:
  FakePeerConnection(std::shared_ptr<FakePeer> peer, Journal* journal) : peer_(std::move(peer)), journal_(journal) {}
  ~FakePeerConnection() override {
    close();
    peer_->destroyed = true;
  }

  SignalingState signalingState() const override { return peer_->signalingState; }
  bool hasRemoteDescription() const override { return peer_->hasRemoteDescription; }
  void createOffer(const OfferOptions& options, OfferDone done) override {
    note(QStringLiteral("createOffer"));
    peer_->offerOptions.append(options);
    later([peer = peer_.get(), done] { done(peer->offerError ? QString() : peer->offer, peer->offerError); });
  }
  void setLocalOffer(const QString& sdp, Done done) override {
    note(QStringLiteral("setLocalOffer"));
    later([peer = peer_.get(), sdp, done] {
      if (!peer->localError) {
        peer->localOffers.append(sdp);
        peer->signalingState = SignalingState::haveLocalOffer;
      }
      done(peer->localError);
    });
  }
  void setRemoteAnswer(const QString& sdp, Done done) override {
    note(QStringLiteral("setRemoteAnswer"));
    later([peer = peer_.get(), sdp, done] {
      if (!peer->remoteError) {
        peer->remoteAnswers.append(sdp);
        peer->signalingState = SignalingState::stable;
        peer->hasRemoteDescription = true;
      }
      done(peer->remoteError);
    });
  }
  void addCandidate(const IceCandidate& candidate, Done done) override {
    note(QStringLiteral("addCandidate ") + candidate.candidate);
    peer_->candidates.append(candidate);
    later([peer = peer_.get(), done] { done(peer->candidateError); });
  }
  std::unique_ptr<DataChannel> createDataChannel(const QString& label, const DataChannelConfig& config) override {
    note(QStringLiteral("createDataChannel ") + label);
    if (peer_->refusesChannels) return nullptr;
    peer_->channels.push_back(std::make_shared<FakeChannel>());
    peer_->channels.back()->label = label;
    peer_->channels.back()->config = config;
    return std::make_unique<FakeDataChannel>(peer_->channels.back(), journal_);
  }
  std::unique_ptr<VideoSender> addVideoTransceiver(VideoTrackSource& source) override {
    note(QStringLiteral("addVideoTransceiver ") + nameOf(source));
    if (peer_->refusesTransceivers) return nullptr;
    peer_->senders.push_back(std::make_shared<FakeSender>());
    peer_->senders.back()->track = nameOf(source);
    return std::make_unique<FakeVideoSender>(peer_->senders.back(), journal_);
  }
  void setStartBitrate(int bps) override {
    peer_->startBitrateBps = bps;
    note(QStringLiteral("setStartBitrate %1").arg(bps));
  }
  void setMaxBitrate(int bps) override {
    peer_->maxBitrateBps = bps;
    note(QStringLiteral("setMaxBitrate %1").arg(bps));
  }
  bool restartIce() override {
    if (!peer_->canRestartIce) return false;
    ++peer_->restarts;
    note(QStringLiteral("restartIce"));
    return true;
  }
  void requestKeyFrame() override { ++peer_->keyFrames; }
  void readLink(std::function<void(const LinkSample&)> done) override {
    later([peer = peer_.get(), done] { done(peer->link); });
  }
  void close() override {
    if (peer_->closed) return;
    note(QStringLiteral("close"));
    peer_->closed = true;
    peer_->signalingState = SignalingState::closed;
    peer_->completions.clear();
    peer_->events = {};
  }

 private:
  void later(std::function<void()> completion) {
    if (!peer_->closed) peer_->completions.push_back(std::move(completion));
  }
  void note(const QString& text) {
    if (journal_) journal_->note(QStringLiteral("peer: ") + text);
  }
  std::shared_ptr<FakePeer> peer_;
  Journal* journal_;
};

// Records every connection that was made, oldest first.
class FakePeerConnectionFactory final : public PeerConnectionFactory {
 public:
  explicit FakePeerConnectionFactory(Journal* journal = nullptr) : journal_(journal) {}
  std::unique_ptr<PeerConnection> createPeerConnection(const QList<IceServer>& servers, PeerEvents events) override {
    if (journal_) journal_->note(QStringLiteral("factory: createPeerConnection"));
    if (refuses) return nullptr;
    peers.push_back(std::make_shared<FakePeer>());
    last().servers = servers;
    last().events = std::move(events);
    last().canRestartIce = canRestartIce;
    return std::make_unique<FakePeerConnection>(peers.back(), journal_);
  }
  void networksChanged() override {
    if (journal_) journal_->note(QStringLiteral("factory: networksChanged"));
  }
  FakePeer& last() { return *peers.back(); }

  std::vector<std::shared_ptr<FakePeer>> peers;
  bool refuses = false;
  bool canRestartIce = true;

 private:
  Journal* journal_;
};

}  // namespace vantora::fakes
