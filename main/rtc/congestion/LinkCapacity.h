// What a link carries, measured with the packets that have been sent over it.
#pragma once

#include <api/transport/network_types.h>
#include <api/units/data_rate.h>
#include <api/units/data_size.h>
#include <api/units/time_delta.h>
#include <api/units/timestamp.h>

#include <deque>
#include <optional>

namespace vantora {

// Two measurements, both from the viewer's reports of when each packet arrived. While the link's queue grows, packets
// leave it at the rate of the link, however unevenly the host sends: that is the capacity. While the host sends without
// a pause and no queue grows, the link carries at least what arrives: that rate is proven. A screen sends pages with
// pauses between them, for which a mean over time says nothing about the link. A delay that varies without growing is
// jitter, and says no more than that what arrives does arrive.
//
// Pure. One thread at a time.
class LinkCapacity {
 public:
  // Reports with receive times; the order of their packets does not matter.
  void onFeedback(const webrtc::TransportPacketsFeedback& report);

  // The rate at which the latest queue was served; empty before the first queue.
  std::optional<webrtc::DataRate> capacity() const { return capacity_; }
  // When it was measured, in the time of the reports; minus infinity before.
  webrtc::Timestamp measuredAt() const { return measuredAt_; }
  // What has arrived in the latest kProofTime, if the host sent all the time and no queue grew; else empty.
  std::optional<webrtc::DataRate> proven() const { return proven_; }
  // Mean of what has arrived in the latest kMeanTime, pauses included.
  webrtc::DataRate arriving() const { return mean_; }
  // The time that the newest packet has waited in the queue; 0 before the first report.
  webrtc::TimeDelta queueDelay() const { return queueDelay_; }
  // Share of the packets of the latest kMeanTime that were lost, 0 to 1.
  double lossShare() const;
  // Whether the newest packet has waited.
  bool queues() const { return queueDelay_ >= threshold(); }

 private:
  struct Sample {
    webrtc::Timestamp received;
    // Since the packet before: at the viewer and at the host.
    webrtc::TimeDelta gap;
    webrtc::TimeDelta sentGap;
    webrtc::DataSize size;
  };
  // Packets in a row, of which those within the latest `longest` count.
  struct Run {
    std::deque<Sample> samples;
    webrtc::TimeDelta span = webrtc::TimeDelta::Zero();
    webrtc::TimeDelta sentSpan = webrtc::TimeDelta::Zero();
    webrtc::DataSize size = webrtc::DataSize::Zero();

    void add(const Sample& sample, webrtc::TimeDelta longest);
    void clear();
  };

  void onPacket(const webrtc::PacketResult& packet, webrtc::Timestamp now);
  webrtc::TimeDelta threshold() const;
  void followBase(webrtc::TimeDelta delay, webrtc::Timestamp now);
  bool measureQueue(const Sample& sample, webrtc::Timestamp now);

  std::optional<webrtc::PacketResult> last_;
  // The smallest delay in this period and the one before: the delay without a queue.
  webrtc::TimeDelta least_ = webrtc::TimeDelta::PlusInfinity();
  webrtc::TimeDelta leastBefore_ = webrtc::TimeDelta::PlusInfinity();
  webrtc::Timestamp periodEnd_ = webrtc::Timestamp::MinusInfinity();
  webrtc::TimeDelta queueDelay_ = webrtc::TimeDelta::Zero();
  // Its mean over seconds.
  webrtc::TimeDelta usualDelay_ = webrtc::TimeDelta::Zero();
  Run queued_;
  Run sent_;
  Run recent_;
  webrtc::DataRate mean_ = webrtc::DataRate::Zero();
  struct Report {
    webrtc::Timestamp at;
    int lost;
    int arrived;
  };
  std::deque<Report> reports_;
  std::optional<webrtc::DataRate> capacity_;
  std::optional<webrtc::DataRate> proven_;
  webrtc::Timestamp measuredAt_ = webrtc::Timestamp::MinusInfinity();
};

}  // namespace vantora
