#include "main/rtc/congestion/LinkCapacity.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace vantora {
namespace {

using webrtc::DataRate;
using webrtc::TimeDelta;
using webrtc::Timestamp;

// A packet that took this much longer than the fastest ones has waited in a queue. Less is the jitter of schedulers;
// where delays vary more than that all the time (wireless links), it has to be more than their mean over kUsualTime.
constexpr TimeDelta kQueued = TimeDelta::Millis(8);
constexpr double kUnusual = 1.5;
constexpr TimeDelta kUsualTime = TimeDelta::Seconds(3);
// The delay without a queue is the smallest one of at least this time, and of twice as much at most: clocks drift
// apart.
constexpr TimeDelta kBasePeriod = TimeDelta::Seconds(20);
// A capacity is the mean over the latest kMostQueued of queueing, at least kLeastQueued and kLeastPackets.
constexpr TimeDelta kLeastQueued = TimeDelta::Millis(60);
constexpr TimeDelta kMostQueued = TimeDelta::Millis(250);
constexpr size_t kLeastPackets = 6;
// The queue grows if packets arrive more slowly than they were sent, by this share and this time at least; it is full
// if so many are lost.
constexpr double kGrowth = 0.04;
constexpr TimeDelta kLeastGrowth = TimeDelta::Millis(6);
constexpr double kFullLoss = 0.06;
// The same for what is proven: longer than a link's token bucket lasts at a slightly higher rate.
constexpr TimeDelta kProofTime = TimeDelta::Millis(200);
// A longer gap between two packets is a pause of the sender.
constexpr TimeDelta kPause = TimeDelta::Millis(25);
// A longer gap between arrivals belongs to an outage, not to the rate of the link.
constexpr TimeDelta kOutage = TimeDelta::Millis(400);
// After a pause a token bucket passes everything at once for a while: for so long a measured capacity counts for more.
constexpr TimeDelta kTokensLast = TimeDelta::Seconds(2);
constexpr TimeDelta kMeanTime = TimeDelta::Millis(500);
// Packets kept at most: half a second of 400 Mbit/s. A viewer may report that all arrive at the same time.
constexpr size_t kMostPackets = 20'000;

}  // namespace

void LinkCapacity::Run::add(const Sample& sample, TimeDelta longest) {
  samples.push_back(sample);
  span += sample.gap;
  sentSpan += sample.sentGap;
  size += sample.size;
  while (samples.size() > 1 && (span - samples.front().gap >= longest || samples.size() > kMostPackets)) {
    span -= samples.front().gap;
    sentSpan -= samples.front().sentGap;
    size -= samples.front().size;
    samples.pop_front();
  }
}

void LinkCapacity::Run::clear() { *this = {}; }

TimeDelta LinkCapacity::threshold() const { return std::max(kQueued, usualDelay_ * kUnusual + kQueued / 2); }

void LinkCapacity::onFeedback(const webrtc::TransportPacketsFeedback& report) {
  const std::vector<webrtc::PacketResult> arrived = report.SortedByReceiveTime();
  const auto lost = static_cast<int>(report.LostWithSendInfo().size());
  reports_.push_back({report.feedback_time, lost, static_cast<int>(arrived.size())});
  while (reports_.front().at + kMeanTime < report.feedback_time) reports_.pop_front();
  for (const webrtc::PacketResult& packet : arrived) onPacket(packet, report.feedback_time);
}

double LinkCapacity::lossShare() const {
  int lost = 0;
  int arrived = 0;
  for (const Report& report : reports_) {
    lost += report.lost;
    arrived += report.arrived;
  }
  return lost == 0 ? 0 : static_cast<double>(lost) / (lost + arrived);
}

void LinkCapacity::followBase(TimeDelta delay, Timestamp now) {
  if (now >= periodEnd_) {
    leastBefore_ = std::exchange(least_, delay);
    periodEnd_ = now + kBasePeriod;
  }
  least_ = std::min(least_, delay);
}

void LinkCapacity::onPacket(const webrtc::PacketResult& packet, Timestamp now) {
  const TimeDelta delay = packet.receive_time - packet.sent_packet.send_time;
  followBase(delay, now);
  const bool queuedBefore = queues();
  queueDelay_ = delay - std::min(least_, leastBefore_);
  const std::optional<webrtc::PacketResult> last = std::exchange(last_, packet);
  if (!last || packet.receive_time < last->receive_time) return;
  const TimeDelta sentGap = packet.sent_packet.send_time - last->sent_packet.send_time;
  const Sample sample{packet.receive_time, packet.receive_time - last->receive_time, sentGap, packet.sent_packet.size};
  recent_.add(sample, kMeanTime);
  mean_ = recent_.size / std::max(recent_.span, kMeanTime);

  bool saturated = false;
  if (queuedBefore && queues() && sample.gap < kOutage) {
    saturated = measureQueue(sample, now);
  } else {
    queued_.clear();
  }
  if (!saturated) usualDelay_ += (queueDelay_ - usualDelay_) * std::min(sample.gap / kUsualTime, 1.0);
  proven_.reset();
  if (queues() || sentGap > kPause || sample.gap >= kOutage) return sent_.clear();
  sent_.add(sample, kProofTime);
  if (sent_.span < kProofTime || sent_.samples.size() < kLeastPackets) return;
  proven_ = sent_.size / sent_.span;
  if (capacity_ && *proven_ > *capacity_ && now - measuredAt_ > kTokensLast) capacity_ = proven_;
}

// Whether the queue is seen to grow or to be full.
bool LinkCapacity::measureQueue(const Sample& sample, Timestamp now) {
  queued_.add(sample, kMostQueued);
  if (queued_.span < kLeastQueued || queued_.samples.size() < kLeastPackets) return false;
  const DataRate rate = queued_.size / queued_.span;
  const bool grows = queued_.span - queued_.sentSpan >= std::max(kLeastGrowth, queued_.span * kGrowth);
  const bool full = lossShare() >= kFullLoss;
  if (grows || full) {
    capacity_ = rate;
    measuredAt_ = now;
  } else if (capacity_ && rate > *capacity_) {
    capacity_ = rate;
  }
  return grows || full;
}

}  // namespace vantora
