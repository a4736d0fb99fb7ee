// A sender that paces its packets onto a link with a finite queue, in simulated time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <limits>
#include <vector>

namespace vantora {

// The sender paces at 1.2 times its estimate of the link; what does not fit into the link's queue is lost and sent
// again kResendAfter seconds later, before everything else. A frame has arrived with the last of its packets, and with
// all frames before it. Times in seconds.
class ThinLink {
 public:
  struct Arrival {
    double sentAt;
    double at;
  };

  // `bitsPerSecond`: of the link; 0 or less: no limit. `estimate`: share of it that the sender believes in.
  ThinLink(double bitsPerSecond, double estimate)
      : rate_(bitsPerSecond > 0 ? bitsPerSecond : kUnlimited), pace_(kPacing * rate_ * estimate) {}

  void send(double now, std::size_t bytes) {
    const std::size_t frame = frames_.size();
    frames_.push_back({now, 0, 0});
    for (std::size_t left = bytes; left > 0; left -= std::min(left, kPacket)) {
      waiting_.push_back({now, static_cast<double>(std::min(left, kPacket) + kHeader) * 8, frame});
      ++frames_[frame].packets;
    }
  }

  // The frames that arrive until `now`, in their order.
  std::vector<Arrival> advance(double now) {
    while (true) {
      const bool again =
          !lost_.empty() && (waiting_.empty() || lost_.front().from <= std::max(paced_, waiting_.front().from));
      std::deque<Packet>& queue = again ? lost_ : waiting_;
      if (queue.empty()) break;
      const double at = std::max(paced_, queue.front().from);
      if (at > now) break;
      const Packet packet = queue.front();
      queue.pop_front();
      paced_ = at + packet.bits / pace_;
      const double start = std::max(linkFree_, at);
      if (start - at > kQueue) {
        lost_.push_back({at + kResendAfter, packet.bits, packet.frame});
        continue;
      }
      linkFree_ = start + packet.bits / rate_;
      Frame& frame = frames_[packet.frame];
      frame.arrived = std::max(frame.arrived, linkFree_);
      --frame.packets;
    }
    std::vector<Arrival> arrivals;
    for (; next_ < frames_.size() && frames_[next_].packets == 0; ++next_) {
      lastArrival_ = std::max(lastArrival_, frames_[next_].arrived);
      frames_[next_].arrived = lastArrival_;
      if (lastArrival_ > now) break;
      arrivals.push_back({frames_[next_].sentAt, lastArrival_});
    }
    return arrivals;
  }

 private:
  struct Packet {
    double from;  // Not before.
    double bits;
    std::size_t frame;
  };
  struct Frame {
    double sentAt;
    double arrived;
    int packets;
  };

  static constexpr double kUnlimited = 100e6;
  static constexpr double kPacing = 1.2;
  static constexpr double kQueue = 0.2;
  static constexpr double kResendAfter = 0.06;
  static constexpr std::size_t kPacket = 1150;
  static constexpr std::size_t kHeader = 50;

  double rate_;
  double pace_;
  double paced_ = 0;
  double linkFree_ = 0;
  double lastArrival_ = 0;
  std::deque<Packet> waiting_;
  std::deque<Packet> lost_;
  std::vector<Frame> frames_;
  std::size_t next_ = 0;
};

}  // namespace vantora
