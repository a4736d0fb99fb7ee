#include "main/rtc/LinkSampleObserver.h"

#include <api/stats/rtc_stats_report.h>
#include <api/stats/rtcstats_objects.h>

#include <algorithm>

namespace vantora {
namespace {

// The address that a local candidate is bound to; behind a router the candidate itself has another.
QString boundAddress(const webrtc::RTCIceCandidateStats& candidate) {
  if (!candidate.candidate_type.is_defined() || *candidate.candidate_type == "relay") return {};
  const auto& address = candidate.related_address.is_defined() ? candidate.related_address : candidate.address;
  return address.is_defined() ? QString::fromStdString(*address) : QString();
}

QString localAddress(const webrtc::RTCStatsReport& report) {
  for (const auto* transport : report.GetStatsOfType<webrtc::RTCTransportStats>()) {
    if (!transport->selected_candidate_pair_id.is_defined()) continue;
    const auto* pair = report.GetAs<webrtc::RTCIceCandidatePairStats>(*transport->selected_candidate_pair_id);
    if (!pair || !pair->local_candidate_id.is_defined()) continue;
    const auto* local = report.GetAs<webrtc::RTCLocalIceCandidateStats>(*pair->local_candidate_id);
    if (local) return boundAddress(*local);
  }
  return {};
}

}  // namespace

void LinkSampleObserver::OnStatsDelivered(const rtc::scoped_refptr<const webrtc::RTCStatsReport>& report) {
  LinkSample sample;
  sample.localAddress = localAddress(*report);
  // Only the pair in use has an estimate.
  for (const auto* pair : report->GetStatsOfType<webrtc::RTCIceCandidatePairStats>()) {
    if (!pair->available_outgoing_bitrate.is_defined()) continue;
    sample.estimateBps = std::max(sample.estimateBps.value_or(0), *pair->available_outgoing_bitrate);
  }
  for (const auto* stream : report->GetStatsOfType<webrtc::RTCOutboundRTPStreamStats>()) {
    if (!stream->kind.is_defined() || *stream->kind != "video") continue;
    if (stream->frames_encoded.is_defined()) sample.framesEncoded = *stream->frames_encoded;
    if (stream->total_encode_time.is_defined()) sample.encodeSeconds = *stream->total_encode_time;
    const webrtc::RTCStats* codec = stream->codec_id.is_defined() ? report->Get(*stream->codec_id) : nullptr;
    if (codec && codec->type() == webrtc::RTCCodecStats::kType) {
      const auto& type = codec->cast_to<webrtc::RTCCodecStats>().mime_type;
      if (type.is_defined()) sample.codec = QString::fromStdString(*type).section(u'/', 1);
    }
  }
  done_(std::move(sample));
}

}  // namespace vantora
