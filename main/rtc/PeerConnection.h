// One WebRTC peer connection as the session sees it. The library's headers stay behind this
// interface; LibPeerConnection implements it, tests/fakes/FakePeerConnection.h imitates it.
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <functional>
#include <memory>
#include <optional>

#include "base/IceState.h"
#include "main/rtc/DataChannel.h"
#include "main/rtc/IceServer.h"
#include "main/rtc/VideoSender.h"

namespace vantora {

class VideoTrackSource;

enum class SignalingState { stable, haveLocalOffer, haveLocalPrAnswer, haveRemoteOffer, haveRemotePrAnswer, closed };
// "stable", "have-local-offer", ...
QString signalingStateName(SignalingState state);

struct IceCandidate {
  QString candidate;
  std::optional<QString> sdpMid;
  int sdpMLineIndex = 0;
  bool operator==(const IceCandidate&) const = default;
};

struct OfferOptions {
  bool receiveVideo = false;
  bool receiveAudio = false;
};

// What a peer connection reports. All on the main thread, never after the connection was closed
// or destroyed.
struct PeerEvents {
  std::function<void(IceState)> iceStateChanged;
  std::function<void(const IceCandidate&)> candidateGenerated;
  // Transports are encrypted and ready, at first or again after an outage: media sent from now on reaches the viewer.
  std::function<void()> mediaReady;
  // A transport failed. With ICE itself in order only a new connection can help.
  std::function<void()> transportFailed;
  // An answer left the connection in a state that it cannot leave: it takes and makes no
  // description any more.
  std::function<void()> descriptionBroken;
};

// Main thread. Owned by the session; destroying it closes it.
class PeerConnection {
 public:
  // Error text, or none on success.
  using Done = std::function<void(std::optional<QString> error)>;
  // The SDP text, or the error text.
  using OfferDone = std::function<void(QString sdp, std::optional<QString> error)>;

  virtual ~PeerConnection() = default;

  virtual SignalingState signalingState() const = 0;
  virtual bool hasRemoteDescription() const = 0;

  // Completions run later on the main thread, never after close().
  virtual void createOffer(const OfferOptions& options, OfferDone done) = 0;
  virtual void setLocalOffer(const QString& sdp, Done done) = 0;
  virtual void setRemoteAnswer(const QString& sdp, Done done) = 0;
  // Text that is no candidate is an error, not a crash.
  virtual void addCandidate(const IceCandidate& candidate, Done done) = 0;

  // None when the library refuses.
  virtual std::unique_ptr<DataChannel> createDataChannel(const QString& label, const DataChannelConfig& config) = 0;
  // A send-only transceiver with a track "video0" of `source`, without stream ids. None on failure.
  virtual std::unique_ptr<VideoSender> addVideoTransceiver(VideoTrackSource& source) = 0;

  // What the congestion control takes the link to carry until it has measured, in bit/s (> 0).
  virtual void setStartBitrate(int bps) = 0;
  // The most that the congestion control looks for, in bit/s (> 0). Raising it makes it probe for that much at once
  // instead of feeling its way up by a few percent a second.
  virtual void setMaxBitrate(int bps) = 0;
  // Marks ICE for a restart at the next offer. False where the library has no such operation.
  virtual bool restartIce() = 0;
  // Makes a key frame of the next video frame: what was sent before may have been lost.
  virtual void requestKeyFrame() = 0;
  virtual void close() = 0;
};

// Makes peer connections; owns the library's threads. One per process.
class PeerConnectionFactory {
 public:
  virtual ~PeerConnectionFactory() = default;
  // None when the library refuses the configuration.
  virtual std::unique_ptr<PeerConnection> createPeerConnection(const QList<IceServer>& servers, PeerEvents events) = 0;
};

}  // namespace vantora
