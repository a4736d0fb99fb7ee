// Whether the link is thin for the video that is sent over it.
#pragma once

#include <chrono>
#include <optional>

namespace vantora {

// A rate that stays below kThin bits per second and pixel makes the link thin, one that stays above kWide makes it wide
// again; in between, and for shorter times, the state is kept. Wide at first. Pure: time is passed with each call and
// never runs backwards. Any thread, one at a time.
class ThinLink {
 public:
  using Time = std::chrono::nanoseconds;
  static constexpr double kThin = 1.2;
  static constexpr double kWide = 1.8;
  static constexpr std::chrono::milliseconds kThinAfter{500};
  static constexpr std::chrono::seconds kWideAfter{3};

  // `pixels`: of one frame, at least 1.
  explicit ThinLink(int pixels) : pixels_(pixels) {}

  void update(double bitsPerSecond, Time now);
  bool isThin() const { return thin_; }

 private:
  int pixels_;
  bool thin_ = false;
  // Since when the rate has contradicted thin_.
  std::optional<Time> against_;
};

}  // namespace vantora
