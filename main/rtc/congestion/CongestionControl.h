// The congestion control of a connection: that of the WebRTC library, corrected for screens.
#pragma once

#include <api/transport/network_control.h>

#include <memory>

namespace vantora {

// The library estimates the rate of a link from the mean of what arrives. It expects a camera, which always has
// something to send; a screen is still, then sends a page, and the library takes the little that arrived before for the
// rate of the link: one page that meets a slower link than expected brings the estimate to a twentieth of it, from
// where it climbs by 8 % a second. The controllers made here keep the library's estimate, with these corrections from
// LinkCapacity:
// - it never falls below what the link was measured to carry;
// - it rises at once to what has been proven to arrive;
// - it stays just below the measured capacity, so that no queue builds up, and pages and probes are hardly faster.
//
// Works with kCongestionTrials only.
std::unique_ptr<webrtc::NetworkControllerFactoryInterface> makeCongestionControl();

// Settings of the library, in the form of its field trials.
inline constexpr const char* kCongestionTrials =
    // Lets the library use makeCongestionControl().
    "WebRTC-Bwe-InjectedCongestionController/Enabled/"
    // The throughput is measured over packets and not over a time window, which is mostly empty here.
    "WebRTC-Bwe-RobustThroughputEstimatorSettings/enabled:true/"
    // Probes that are long enough to empty the token bucket of a thin uplink: short ones measure two to five times its
    // rate, and then the first page overflows its queue.
    "WebRTC-Bwe-ProbingBehavior/min_probe_duration:100ms/WebRTC-Bwe-InitialProbing/p1:1,p2:2/"
    // A page is sent only a little faster than the link's rate (default 2.5).
    "WebRTC-Video-Pacing/factor:1.2/";

}  // namespace vantora
