// VideoSender over the WebRTC library. Internal to this folder.
#pragma once

#include <api/peer_connection_interface.h>

#include "main/rtc/VideoSender.h"

namespace vantora {

constexpr const char* kVideoTrackId = "video0";

// Thread: main.
class LibVideoSender final : public VideoSender {
 public:
  LibVideoSender(rtc::scoped_refptr<webrtc::PeerConnectionFactoryInterface> factory,
                 rtc::scoped_refptr<webrtc::RtpSenderInterface> sender)
      : factory_(std::move(factory)), sender_(std::move(sender)) {}

  bool changeEncodings(const EncodingChange& change) override;
  bool setDegradationPreference(DegradationPreference preference) override;
  bool replaceTrack(VideoTrackSource& source) override;
  bool setContentHint(const QString& hint) override;

 private:
  rtc::scoped_refptr<webrtc::PeerConnectionFactoryInterface> factory_;
  rtc::scoped_refptr<webrtc::RtpSenderInterface> sender_;
};

}  // namespace vantora
