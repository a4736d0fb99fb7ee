// Whether the link is slow for the video that is sent over it.
#pragma once

#include <chrono>
#include <optional>

namespace vantora {

// A rate that stays below kSlowBelow bits per second and pixel makes the link slow, one that stays above kFastAbove
// makes it fast again; in between, and for shorter times, the state is kept. Fast at first. Pure: time is passed with
// each call and never runs backwards. Any thread, one at a time.
class SlowLinkDetector {
 public:
  using Time = std::chrono::nanoseconds;
  static constexpr double kSlowBelow = 1.2;
  static constexpr double kFastAbove = 1.8;
  static constexpr std::chrono::milliseconds kSlowAfter{500};
  static constexpr std::chrono::seconds kFastAfter{3};

  // `pixels`: of one frame, at least 1.
  explicit SlowLinkDetector(int pixels) : pixels_(pixels) {}

  void update(double bitsPerSecond, Time now);
  bool isSlow() const { return slow_; }

 private:
  int pixels_;
  bool slow_ = false;
  // Since when the rate has contradicted slow_.
  std::optional<Time> contradictedSince_;
};

}  // namespace vantora
