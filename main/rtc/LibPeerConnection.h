// PeerConnection over the WebRTC library. Internal to this folder (it exposes the library's types).
#pragma once

#include <api/peer_connection_interface.h>

#include "base/Lifetime.h"
#include "main/rtc/KeyFrameRequest.h"
#include "main/rtc/PeerConnection.h"

namespace vantora {

// Thread: main. The library's callbacks arrive on its signalling thread; their arguments are copied and posted to main,
// where `life_` drops them after close().
class LibPeerConnection final : public PeerConnection {
 public:
  // Null if the library refuses the configuration.
  static std::unique_ptr<LibPeerConnection> create(webrtc::PeerConnectionFactoryInterface& factory,
                                                   const QList<IceServer>& servers, PeerEvents events,
                                                   std::shared_ptr<KeyFrameRequest> keyFrameRequest);
  ~LibPeerConnection() override;

  SignalingState signalingState() const override;
  bool hasRemoteDescription() const override;
  void createOffer(const OfferOptions& options, OfferDone done) override;
  void setLocalOffer(const QString& sdp, Done done) override;
  void setRemoteAnswer(const QString& sdp, Done done) override;
  void addCandidate(const IceCandidate& candidate, Done done) override;
  std::unique_ptr<DataChannel> createDataChannel(const QString& label, const DataChannelConfig& config) override;
  std::unique_ptr<VideoSender> addVideoTransceiver(VideoTrackSource& source) override;
  void setStartBitrate(int bps) override;
  void setMaxBitrate(int bps) override;
  bool restartIce() override;
  void requestKeyFrame() override;
  void readLink(std::function<void(const LinkSample&)> done) override;
  void close() override;

 private:
  class Observer;

  LibPeerConnection(webrtc::PeerConnectionFactoryInterface& factory, PeerEvents events,
                    std::shared_ptr<KeyFrameRequest> keyFrameRequest);
  void reportIfBroken();
  void beginCandidates(const std::string& userName);

  rtc::scoped_refptr<webrtc::PeerConnectionFactoryInterface> factory_;
  Lifetime life_;            // Ends when the connection is closed.
  const PeerEvents events_;  // Posted to main; may be called on any thread.
  std::shared_ptr<KeyFrameRequest> keyFrameRequest_;
  // The newest offer as the library made it.
  QString offered_;
  // ICE user name of the current answer, and the number of candidates received for it.
  std::string remoteUserName_;
  std::size_t candidatesTaken_ = 0;
  std::unique_ptr<Observer> observer_;
  rtc::scoped_refptr<webrtc::PeerConnectionInterface> connection_;
};

}  // namespace vantora
