// One WebRTC peer connection as the session sees it. The interface hides the library's headers; LibPeerConnection
// implements it, tests/fakes/FakePeerConnection.h is its fake.
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <functional>
#include <memory>
#include <optional>

#include "base/IceState.h"
#include "base/LinkSample.h"
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

// Events of a peer connection. All on the main thread, never after the connection was closed or destroyed.
struct PeerEvents {
  std::function<void(IceState)> iceStateChanged;
  std::function<void(const IceCandidate&)> candidateGenerated;
  // Transports are encrypted and ready, initially or after an outage: media sent from now on reaches the viewer.
  std::function<void()> mediaReady;
  // A transport failed. If ICE itself works, only a new connection can help.
  std::function<void()> transportFailed;
  // An answer left the connection in a permanent error state: it neither accepts nor creates descriptions any more.
  std::function<void()> descriptionBroken;
};

// Main thread. Owned by the session; destroying it closes it.
class PeerConnection {
 public:
  // Error text; empty on success.
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

  // Null if the library refuses.
  virtual std::unique_ptr<DataChannel> createDataChannel(const QString& label, const DataChannelConfig& config) = 0;
  // A send-only transceiver with a track "video0" of `source`, without stream ids. Null on failure.
  virtual std::unique_ptr<VideoSender> addVideoTransceiver(VideoTrackSource& source) = 0;

  // The congestion control's initial estimate of the link's rate, in bit/s (> 0).
  virtual void setStartBitrate(int bps) = 0;
  // Upper limit of the congestion control, in bit/s (> 0). If raised, the new limit is probed at once, instead of the
  // estimate growing by a few percent per second.
  virtual void setMaxBitrate(int bps) = 0;
  // Marks ICE for a restart at the next offer. False where the library has no such operation.
  virtual bool restartIce() = 0;
  // The next video frame becomes a key frame: earlier frames may have been lost.
  virtual void requestKeyFrame() = 0;
  // Reads the connection's figures; `done` runs later on the main thread, never after close().
  virtual void readLink(std::function<void(const LinkSample&)> done) = 0;
  virtual void close() = 0;
};

// Makes peer connections; owns the library's threads. One per process.
class PeerConnectionFactory {
 public:
  virtual ~PeerConnectionFactory() = default;
  // Null if the library refuses the configuration.
  virtual std::unique_ptr<PeerConnection> createPeerConnection(const QList<IceServer>& servers, PeerEvents events) = 0;
  // The machine's addresses have changed. Connections gather candidates on what is new before they handle any later
  // call; without this the library takes up to two seconds.
  virtual void networksChanged() = 0;
};

}  // namespace vantora
