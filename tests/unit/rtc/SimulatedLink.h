// A sender and a link of limited rate for tests of the congestion control, in simulated time.
#pragma once

#include <api/field_trials.h>
#include <api/rtc_event_log/rtc_event_log.h>
#include <api/transport/network_control.h>

#include <deque>
#include <functional>
#include <memory>
#include <vector>

namespace vantora {

struct LinkForm {
  double kbps = 2000;
  // Token bucket: bytes that pass at once after a pause.
  double burstBytes = 16'000;
  // Longest time in the queue; what would wait longer is lost.
  double queueMs = 200;
  double delayMs = 1;
  // Share of the packets that is lost at random (every n-th).
  int loseEvery = 0;
  // Packets are delayed by up to this much, without a queue.
  double jitterMs = 0;
};

// The library's pacer in short, a token bucket filter and a viewer that reports arrivals every 50 ms. Steps of 1 ms.
class SimulatedLink {
 public:
  explicit SimulatedLink(webrtc::NetworkControllerFactoryInterface& factory, const char* trials,
                         double startKbps = 1000, double maxKbps = 9000);

  LinkForm form;
  // Called before each step: how many bytes the application adds to the pacer's queue.
  std::function<double(SimulatedLink&)> produce = [](SimulatedLink&) { return 0.0; };

  void run(double seconds);

  double now() const { return static_cast<double>(ms_) / 1000; }
  double targetKbps() const { return targetKbps_; }
  double backlogBytes() const { return backlog_; }
  // Of the packets that arrived since the last reset.
  double longestQueueMs = 0;
  int arrived = 0;
  int lost = 0;
  double arrivedBytes = 0;
  double lowestTarget = 1e9;
  double fastestProbe = 0;
  void resetFigures();

 private:
  struct Flying {
    webrtc::PacketResult result;
    double arrivesMs;
  };
  webrtc::Timestamp at(double ms) const { return webrtc::Timestamp::Micros(static_cast<int64_t>(1e9 + ms * 1000)); }
  void take(const webrtc::NetworkControlUpdate& update);
  void send(double bytes, const webrtc::PacedPacketInfo& pacing);
  void step();

  webrtc::RtcEventLogNull log_;
  std::unique_ptr<webrtc::FieldTrials> trials_;
  int64_t ms_ = 0;
  double backlog_ = 0;
  double budget_ = 0;
  double paceKbps_ = 1000;
  double targetKbps_ = 0;
  std::deque<webrtc::ProbeClusterConfig> probes_;
  double probeSent_ = 0;
  int probePackets_ = 0;
  double tokens_ = 16'000;
  double queueBytes_ = 0;
  double freeAtMs_ = 0;
  uint32_t random_ = 1;
  std::deque<Flying> flying_;
  std::vector<webrtc::PacketResult> toReport_;
  int64_t sequence_ = 0;
  int64_t lostSinceReport_ = 0;
  int64_t arrivedSinceReport_ = 0;
  std::unique_ptr<webrtc::NetworkControllerInterface> controller_;
};

}  // namespace vantora
