// A rate limit that lets bursts pass.
#pragma once

#include <algorithm>
#include <chrono>

namespace vantora::companion {

// Holds up to `burst` tokens and gains `perSecond` of them each second. Pure: the time is a
// parameter, and must not go backwards.
class TokenBucket {
 public:
  TokenBucket(double burst, double perSecond, std::chrono::nanoseconds now)
      : burst_(burst), perSecond_(perSecond), tokens_(burst), updated_(now) {}

  // Takes `cost` tokens if they are there; otherwise takes none and answers false.
  [[nodiscard]] bool take(double cost, std::chrono::nanoseconds now) {
    const double elapsed = std::chrono::duration<double>(now - updated_).count();
    tokens_ = std::min(burst_, tokens_ + elapsed * perSecond_);
    updated_ = now;
    if (tokens_ < cost) return false;
    tokens_ -= cost;
    return true;
  }

 private:
  double burst_;
  double perSecond_;
  double tokens_;
  std::chrono::nanoseconds updated_;
};

}  // namespace vantora::companion
