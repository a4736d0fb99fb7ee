// Reads the figures of a connection from the library's statistics. Internal to this folder.
#pragma once

#include <api/stats/rtc_stats_collector_callback.h>

#include <functional>

#include "base/LinkSample.h"

namespace vantora {

// Called once, on the library's signalling thread.
class LinkSampleObserver : public webrtc::RTCStatsCollectorCallback {
 public:
  explicit LinkSampleObserver(std::function<void(LinkSample)> done) : done_(std::move(done)) {}
  void OnStatsDelivered(const rtc::scoped_refptr<const webrtc::RTCStatsReport>& report) override;

 private:
  std::function<void(LinkSample)> done_;
};

}  // namespace vantora
