#include "main/rtc/LibVideoSender.h"

#include "main/rtc/VideoTrackSource.h"

namespace vantora {

bool LibVideoSender::changeEncodings(const EncodingChange& change) {
  webrtc::RtpParameters parameters = sender_->GetParameters();
  if (parameters.encodings.empty()) parameters.encodings.emplace_back();
  for (webrtc::RtpEncodingParameters& encoding : parameters.encodings) {
    if (change.maxBitrateBps) encoding.max_bitrate_bps = *change.maxBitrateBps;
    if (change.maxFramerate) encoding.max_framerate = *change.maxFramerate;
    if (change.scaleResolutionDownBy) encoding.scale_resolution_down_by = *change.scaleResolutionDownBy;
  }
  return sender_->SetParameters(parameters).ok();
}

bool LibVideoSender::setDegradationPreference(DegradationPreference preference) {
  webrtc::RtpParameters parameters = sender_->GetParameters();
  parameters.degradation_preference = preference == DegradationPreference::maintainResolution
                                          ? webrtc::DegradationPreference::MAINTAIN_RESOLUTION
                                          : webrtc::DegradationPreference::MAINTAIN_FRAMERATE;
  return sender_->SetParameters(parameters).ok();
}

bool LibVideoSender::replaceTrack(VideoTrackSource& source) {
  const auto track = factory_->CreateVideoTrack(kVideoTrackId, source.native());
  // The new track keeps the content hint of the old one.
  const auto before = sender_->track();
  if (before && before->kind() == webrtc::MediaStreamTrackInterface::kVideoKind) {
    track->set_content_hint(static_cast<webrtc::VideoTrackInterface*>(before.get())->content_hint());
  }
  return sender_->SetTrack(track.get());
}

bool LibVideoSender::setContentHint(const QString& hint) {
  const auto track = sender_->track();
  if (!track || track->kind() != webrtc::MediaStreamTrackInterface::kVideoKind) return false;
  static_cast<webrtc::VideoTrackInterface*>(track.get())
      ->set_content_hint(hint == QLatin1StringView("detail") ? webrtc::VideoTrackInterface::ContentHint::kDetailed
                                                             : webrtc::VideoTrackInterface::ContentHint::kFluid);
  return true;
}

}  // namespace vantora
