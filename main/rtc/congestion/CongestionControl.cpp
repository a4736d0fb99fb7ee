#include "main/rtc/congestion/CongestionControl.h"

#include <api/transport/goog_cc_factory.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include "main/rtc/congestion/LinkCapacity.h"

namespace vantora {
namespace {

using webrtc::DataRate;
using webrtc::NetworkControlUpdate;
using webrtc::TimeDelta;
using webrtc::Timestamp;

// The share of the capacity that is used, so that queues drain.
constexpr double kUsedShare = 0.95;
// How much faster than the capacity packets are sent while there is no queue: enough to notice a link that has become
// faster, little enough that a page of a second waits for a twentieth of one.
constexpr double kPaceFactor = 1.05;
// A longer queue is emptied, at this share of the capacity.
constexpr TimeDelta kLongQueue = TimeDelta::Millis(25);
constexpr TimeDelta kEmpty = TimeDelta::Millis(5);
constexpr double kDrainFactor = 0.8;
// The estimate is raised to a rate that is higher by this factor.
constexpr double kWorthRaising = 1.04;
// A capacity is believed for this long, then multiplied by kGrowth each second until there is a queue again. If
// the link carries kBusyShare of the estimate meanwhile, the estimate grows as fast, at intervals of kPush.
constexpr TimeDelta kBelieved = TimeDelta::Seconds(5);
constexpr double kGrowth = 1.15;
constexpr double kBusyShare = 0.75;
constexpr double kManyLost = 0.025;
constexpr TimeDelta kPush = TimeDelta::Millis(300);
// A probe is at most this much faster than the capacity: a faster one would only fill the queue.
constexpr double kProbeFactor = 1.5;
constexpr DataRate kSlowestProbe = DataRate::KilobitsPerSec(10);
// No report for kOutage is an outage (or a still screen, which does no harm to the estimate). The library lowers its
// estimate in an outage and for the packets that were lost in it; for kRecovery afterwards the estimate does not fall
// below this share of what it was.
constexpr TimeDelta kOutage = TimeDelta::Millis(1200);
constexpr TimeDelta kRecovery = TimeDelta::Seconds(3);
constexpr double kAfterOutage = 0.5;
// Bounds of the growth of a capacity, in seconds and as a rate.
constexpr double kLongestGrowth = 60;
constexpr DataRate kFastest = DataRate::KilobitsPerSec(1'000'000);
// Changes of less than this share are not reported.
constexpr double kReported = 0.01;

// Tells the library's controller the rate below which it must not fall.
class CapacityEstimator final : public webrtc::NetworkStateEstimator {
 public:
  explicit CapacityEstimator(const LinkCapacity& link) : link_(link) {}

  absl::optional<webrtc::NetworkStateEstimate> GetCurrentEstimate() override {
    if (!link_.capacity()) return absl::nullopt;
    webrtc::NetworkStateEstimate estimate;
    estimate.update_time = link_.measuredAt();
    estimate.last_feed_time = link_.measuredAt();
    estimate.link_capacity = *link_.capacity();
    estimate.link_capacity_lower = *link_.capacity();
    estimate.link_capacity_upper = DataRate::PlusInfinity();
    return estimate;
  }
  void OnTransportPacketsFeedback(const webrtc::TransportPacketsFeedback&) override {}
  void OnRouteChange(const webrtc::NetworkRouteChange&) override {}

 private:
  const LinkCapacity& link_;
};

class CapacityEstimators final : public webrtc::NetworkStateEstimatorFactory {
 public:
  explicit CapacityEstimators(const LinkCapacity& link) : link_(link) {}
  std::unique_ptr<webrtc::NetworkStateEstimator> Create(const webrtc::FieldTrialsView*) override {
    return std::make_unique<CapacityEstimator>(link_);
  }

 private:
  const LinkCapacity& link_;
};

// Belongs to one connection; used by one thread at a time.
class Controller final : public webrtc::NetworkControllerInterface {
 public:
  explicit Controller(const webrtc::NetworkControllerConfig& config) : constraints_(config.constraints) {
    webrtc::GoogCcFactoryConfig estimators;
    estimators.network_state_estimator_factory = std::make_unique<CapacityEstimators>(link_);
    inner_ = webrtc::GoogCcNetworkControllerFactory(std::move(estimators)).Create(config);
  }

  NetworkControlUpdate OnNetworkAvailability(webrtc::NetworkAvailability message) override {
    return corrected(inner_->OnNetworkAvailability(message), message.at_time);
  }

  NetworkControlUpdate OnNetworkRouteChange(webrtc::NetworkRouteChange message) override {
    link_ = {};
    recoversUntil_ = Timestamp::MinusInfinity();
    constraints_ = message.constraints;
    return corrected(inner_->OnNetworkRouteChange(message), message.at_time);
  }

  NetworkControlUpdate OnProcessInterval(webrtc::ProcessInterval message) override {
    return corrected(inner_->OnProcessInterval(message), message.at_time);
  }

  NetworkControlUpdate OnRemoteBitrateReport(webrtc::RemoteBitrateReport message) override {
    return corrected(inner_->OnRemoteBitrateReport(message), message.receive_time);
  }

  NetworkControlUpdate OnRoundTripTimeUpdate(webrtc::RoundTripTimeUpdate message) override {
    return corrected(inner_->OnRoundTripTimeUpdate(message), message.receive_time);
  }

  NetworkControlUpdate OnSentPacket(webrtc::SentPacket message) override {
    return corrected(inner_->OnSentPacket(message), message.send_time);
  }

  NetworkControlUpdate OnReceivedPacket(webrtc::ReceivedPacket message) override {
    return corrected(inner_->OnReceivedPacket(message), message.receive_time);
  }

  NetworkControlUpdate OnStreamsConfig(webrtc::StreamsConfig message) override {
    return corrected(inner_->OnStreamsConfig(message), message.at_time);
  }

  NetworkControlUpdate OnTargetRateConstraints(webrtc::TargetRateConstraints message) override {
    constraints_ = message;
    return corrected(inner_->OnTargetRateConstraints(message), message.at_time);
  }

  NetworkControlUpdate OnTransportLossReport(webrtc::TransportLossReport message) override {
    return corrected(inner_->OnTransportLossReport(message), message.receive_time);
  }

  NetworkControlUpdate OnTransportPacketsFeedback(webrtc::TransportPacketsFeedback message) override {
    const Timestamp now = message.feedback_time;
    noticeOutage(now);
    link_.onFeedback(message);
    NetworkControlUpdate update = inner_->OnTransportPacketsFeedback(message);
    note(update);
    raise(update, now);
    return corrected(update, now);
  }

  NetworkControlUpdate OnNetworkStateEstimate(webrtc::NetworkStateEstimate message) override {
    return inner_->OnNetworkStateEstimate(message);
  }

 private:
  // The rate that the link is known to carry; empty while it is busy with a queue.
  std::optional<DataRate> known(Timestamp now) {
    std::optional<DataRate> rate = link_.proven();
    if (link_.queues()) return rate;
    if (now < recoversUntil_) rate = std::max(rate.value_or(DataRate::Zero()), beforeOutage_ * kAfterOutage);
    if (link_.capacity() && now - link_.measuredAt() < kBelieved) {
      rate = std::max(rate.value_or(DataRate::Zero()), *link_.capacity() * kUsedShare);
    } else if (now >= pushedAt_ + kPush && link_.arriving() >= target_->target_rate * kBusyShare &&
               link_.lossShare() < kManyLost) {
      const double elapsed = std::min(now - pushedAt_, 2 * kPush).seconds<double>();
      rate = std::max(rate.value_or(DataRate::Zero()), target_->target_rate * std::pow(kGrowth, elapsed));
      pushedAt_ = now;
    }
    return rate;
  }

  void noticeOutage(Timestamp now) {
    if (now - heardAt_ > kOutage) recoversUntil_ = now + kRecovery;
    if (now >= recoversUntil_ && target_) beforeOutage_ = target_->target_rate;
    heardAt_ = now;
  }

  // Raises the estimate to that.
  void raise(NetworkControlUpdate& update, Timestamp now) {
    if (!target_) return;
    const std::optional<DataRate> rate = known(now);
    if (!rate) return;
    const DataRate wanted = std::min(*rate, constraints_.max_data_rate.value_or(DataRate::PlusInfinity()));
    if (wanted < target_->target_rate * kWorthRaising) return;
    webrtc::TargetRateConstraints constraints = constraints_;
    constraints.at_time = now;
    constraints.starting_rate = wanted;
    NetworkControlUpdate more = inner_->OnTargetRateConstraints(constraints);
    note(more);
    if (more.target_rate) update.target_rate = more.target_rate;
    if (more.pacer_config) update.pacer_config = more.pacer_config;
    update.probe_cluster_configs.insert(update.probe_cluster_configs.end(), more.probe_cluster_configs.begin(),
                                        more.probe_cluster_configs.end());
  }

  // Keeps what the library's controller has decided.
  void note(const NetworkControlUpdate& update) {
    if (update.target_rate) target_ = update.target_rate;
    if (update.pacer_config) pacer_ = update.pacer_config;
  }

  // The capacity to believe at `now`.
  std::optional<DataRate> capacityAt(Timestamp now) const {
    const std::optional<DataRate> capacity = link_.capacity();
    if (!capacity) return std::nullopt;
    const TimeDelta old = std::max(now - link_.measuredAt() - kBelieved, TimeDelta::Zero());
    return std::min(*capacity * std::pow(kGrowth, std::min(old.seconds<double>(), kLongestGrowth)), kFastest);
  }

  static void limitProbes(std::vector<webrtc::ProbeClusterConfig>& probes, std::optional<DataRate> capacity) {
    if (!capacity) return;
    // A rate of zero would end the program.
    const DataRate limit = std::max(*capacity * kProbeFactor, kSlowestProbe);
    for (webrtc::ProbeClusterConfig& probe : probes) probe.target_data_rate = std::min(probe.target_data_rate, limit);
  }

  // The update with the rates limited by the capacity; sets them if only the limit has changed.
  NetworkControlUpdate corrected(NetworkControlUpdate update, Timestamp now) {
    note(update);
    const std::optional<DataRate> capacity = capacityAt(now);
    limitProbes(update.probe_cluster_configs, capacity);
    if (!target_ || !pacer_) return update;
    DataRate rate = target_->target_rate;
    DataRate pace = pacer_->data_rate();
    if (capacity) {
      const DataRate floor = constraints_.min_data_rate.value_or(DataRate::Zero());
      rate = std::min(rate, std::max(*capacity * kUsedShare, floor));
      drains_ = link_.queueDelay() > (drains_ ? kEmpty : kLongQueue);
      pace = std::min(pace, std::max(*capacity * (drains_ ? kDrainFactor : kPaceFactor), floor));
    }
    if (update.target_rate || changed(rate, rate_)) {
      if (!update.target_rate) update.target_rate = target_;
      update.target_rate->at_time = now;
      update.target_rate->target_rate = rate;
      update.target_rate->stable_target_rate = std::min(update.target_rate->stable_target_rate, rate);
      rate_ = rate;
    }
    if (update.pacer_config || changed(pace, pace_)) {
      if (!update.pacer_config) update.pacer_config = pacer_;
      update.pacer_config->at_time = now;
      update.pacer_config->data_window = pace * update.pacer_config->time_window;
      pace_ = pace;
    }
    return update;
  }

  static bool changed(DataRate rate, std::optional<DataRate> before) {
    return !before || rate > *before * (1 + kReported) || rate < *before * (1 - kReported);
  }

  LinkCapacity link_;
  webrtc::TargetRateConstraints constraints_;
  // The latest decisions of the library's controller, and what became of them.
  absl::optional<webrtc::TargetTransferRate> target_;
  absl::optional<webrtc::PacerConfig> pacer_;
  std::optional<DataRate> rate_;
  std::optional<DataRate> pace_;
  // Whether a queue is being emptied.
  bool drains_ = false;
  // When the latest report came, the estimate before they stopped coming, and until when it is restored.
  Timestamp heardAt_ = Timestamp::PlusInfinity();
  Timestamp recoversUntil_ = Timestamp::MinusInfinity();
  DataRate beforeOutage_ = DataRate::Zero();
  Timestamp pushedAt_ = Timestamp::MinusInfinity();
  // Refers to link_.
  std::unique_ptr<webrtc::NetworkControllerInterface> inner_;
};

class Factory final : public webrtc::NetworkControllerFactoryInterface {
 public:
  std::unique_ptr<webrtc::NetworkControllerInterface> Create(webrtc::NetworkControllerConfig config) override {
    return std::make_unique<Controller>(config);
  }
  TimeDelta GetProcessInterval() const override { return library_.GetProcessInterval(); }

 private:
  webrtc::GoogCcNetworkControllerFactory library_{webrtc::GoogCcFactoryConfig()};
};

}  // namespace

std::unique_ptr<webrtc::NetworkControllerFactoryInterface> makeCongestionControl() {
  return std::make_unique<Factory>();
}

}  // namespace vantora
