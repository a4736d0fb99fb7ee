#include "tests/unit/rtc/SimulatedLink.h"

#include <algorithm>
#include <utility>

namespace vantora {
namespace {

constexpr double kPacket = 1200;
constexpr int kProcessMs = 25;
constexpr int kFeedbackMs = 50;
constexpr int kLossReportMs = 1000;

}  // namespace

SimulatedLink::SimulatedLink(webrtc::NetworkControllerFactoryInterface& factory, const char* trials, double startKbps,
                             double maxKbps)
    : trials_(webrtc::FieldTrials::CreateNoGlobal(trials)) {
  webrtc::NetworkControllerConfig config;
  config.constraints.at_time = at(0);
  config.constraints.min_data_rate = webrtc::DataRate::Zero();
  config.constraints.max_data_rate = webrtc::DataRate::KilobitsPerSec(maxKbps);
  config.constraints.starting_rate = webrtc::DataRate::KilobitsPerSec(startKbps);
  config.stream_based_config.pacing_factor = 1.2;
  config.key_value_config = trials_.get();
  config.event_log = &log_;
  controller_ = factory.Create(config);
  webrtc::NetworkAvailability available;
  available.at_time = at(0);
  available.network_available = true;
  take(controller_->OnNetworkAvailability(available));
}

void SimulatedLink::resetFigures() {
  longestQueueMs = arrivedBytes = fastestProbe = 0;
  arrived = lost = 0;
  lowestTarget = 1e9;
}

void SimulatedLink::run(double seconds) {
  for (const int64_t end = ms_ + static_cast<int64_t>(seconds * 1000); ms_ < end; ++ms_) step();
}

void SimulatedLink::take(const webrtc::NetworkControlUpdate& update) {
  if (update.target_rate) {
    targetKbps_ = update.target_rate->target_rate.bps<double>() / 1000;
    lowestTarget = std::min(lowestTarget, targetKbps_);
  }
  if (update.pacer_config) paceKbps_ = update.pacer_config->data_rate().bps<double>() / 1000;
  for (const webrtc::ProbeClusterConfig& probe : update.probe_cluster_configs) {
    probes_.push_back(probe);
    fastestProbe = std::max(fastestProbe, probe.target_data_rate.bps<double>() / 1000);
  }
}

void SimulatedLink::send(double bytes, const webrtc::PacedPacketInfo& pacing) {
  webrtc::PacketResult result;
  result.sent_packet.send_time = at(static_cast<double>(ms_));
  result.sent_packet.size = webrtc::DataSize::Bytes(static_cast<int64_t>(bytes));
  result.sent_packet.sequence_number = ++sequence_;
  result.sent_packet.pacing_info = pacing;
  take(controller_->OnSentPacket(result.sent_packet));

  const bool cut = form.kbps <= 0;
  const bool full = cut || queueBytes_ + bytes > form.kbps / 8 * form.queueMs + form.burstBytes;
  if (full || (form.loseEvery > 0 && sequence_ % form.loseEvery == 0)) {
    ++lost;
    ++lostSinceReport_;
    toReport_.push_back(result);  // Its receive time stays infinite.
    return;
  }
  // The time when the bucket has the tokens for everything that waits.
  queueBytes_ += bytes;
  const double missing = std::max(0.0, queueBytes_ - tokens_);
  random_ = random_ * 1664525 + 1013904223;
  const double jitter = form.jitterMs * (random_ >> 8) / 0xffffff;
  const double arrives = static_cast<double>(ms_) + missing / (form.kbps / 8) + form.delayMs + jitter;
  freeAtMs_ = std::max(freeAtMs_, arrives);
  result.receive_time = at(freeAtMs_);
  flying_.push_back({result, freeAtMs_});
}

void SimulatedLink::step() {
  backlog_ += produce(*this);
  // The link serves what waits as far as there are tokens.
  tokens_ = std::min(tokens_ + form.kbps / 8, std::max(form.burstBytes, kPacket));
  const double served = std::min(tokens_, queueBytes_);
  tokens_ -= served;
  queueBytes_ -= served;

  if (!probes_.empty() && backlog_ >= 200) {
    const webrtc::ProbeClusterConfig probe = probes_.front();
    webrtc::PacedPacketInfo pacing;
    pacing.probe_cluster_id = probe.id;
    pacing.send_bitrate_bps = static_cast<int>(probe.target_data_rate.bps());
    pacing.probe_cluster_min_probes = probe.target_probe_count;
    pacing.probe_cluster_min_bytes = static_cast<int>((probe.target_data_rate * probe.target_duration).bytes());
    budget_ += probe.target_data_rate.bps<double>() / 8000;
    while (budget_ >= kPacket && !probes_.empty()) {
      budget_ -= kPacket;
      backlog_ = std::max(200.0, backlog_ - kPacket);  // Padding, once there is nothing else.
      pacing.probe_cluster_bytes_sent = static_cast<int>(probeSent_);
      send(kPacket, pacing);
      probeSent_ += kPacket;
      if (++probePackets_ >= probe.target_probe_count && probeSent_ >= pacing.probe_cluster_min_bytes) {
        probes_.pop_front();
        probeSent_ = probePackets_ = 0;
        break;
      }
    }
  } else {
    budget_ = std::min(budget_ + paceKbps_ / 8, 2 * kPacket);
    while (backlog_ > 0 && budget_ >= std::min(kPacket, backlog_)) {
      const double bytes = std::min(kPacket, backlog_);
      budget_ -= bytes;
      backlog_ -= bytes;
      send(bytes, {});
    }
  }

  while (!flying_.empty() && flying_.front().arrivesMs <= static_cast<double>(ms_)) {
    const webrtc::PacketResult& result = flying_.front().result;
    ++arrived;
    ++arrivedSinceReport_;
    arrivedBytes += result.sent_packet.size.bytes<double>();
    longestQueueMs =
        std::max(longestQueueMs, (result.receive_time - result.sent_packet.send_time).ms<double>() - form.delayMs);
    toReport_.push_back(result);
    flying_.pop_front();
  }
  if (ms_ % kFeedbackMs == 0 && std::ranges::any_of(toReport_, [](const auto& each) { return each.IsReceived(); })) {
    webrtc::TransportPacketsFeedback feedback;
    feedback.feedback_time = at(static_cast<double>(ms_) + form.delayMs);
    std::ranges::sort(toReport_, {}, [](const auto& each) { return each.sent_packet.sequence_number; });
    feedback.packet_feedbacks = std::exchange(toReport_, {});
    take(controller_->OnTransportPacketsFeedback(feedback));
  }
  if (ms_ % kLossReportMs == 0 && arrivedSinceReport_ + lostSinceReport_ > 0) {
    webrtc::TransportLossReport report;
    report.receive_time = at(static_cast<double>(ms_));
    report.start_time = at(static_cast<double>(ms_ - kLossReportMs));
    report.end_time = report.receive_time;
    report.packets_lost_delta = static_cast<uint64_t>(std::exchange(lostSinceReport_, 0));
    report.packets_received_delta = static_cast<uint64_t>(std::exchange(arrivedSinceReport_, 0));
    take(controller_->OnTransportLossReport(report));
  }
  if (ms_ % kProcessMs == 0) {
    webrtc::ProcessInterval process;
    process.at_time = at(static_cast<double>(ms_));
    take(controller_->OnProcessInterval(process));
  }
}

}  // namespace vantora
