// A rate limit that allows bursts.
#pragma once

#include <algorithm>
#include <chrono>

namespace vantora::companion {

// Holds up to `burst` tokens and gains `perSecond` of them each second. Pure: the time is a
// parameter, and must not go backwards.
class TokenBucket {
 public:
  struct Rate {
    double burst;
    double perSecond;
  };

  TokenBucket(Rate rate, std::chrono::nanoseconds now) : rate_(rate), tokens_(rate.burst), updated_(now) {}

  // Takes `cost` tokens if they are there; otherwise takes none and returns false.
  [[nodiscard]] bool take(double cost, std::chrono::nanoseconds now) {
    const double elapsed = std::chrono::duration<double>(now - updated_).count();
    tokens_ = std::min(rate_.burst, tokens_ + elapsed * rate_.perSecond);
    updated_ = now;
    if (tokens_ < cost) return false;
    tokens_ -= cost;
    return true;
  }

 private:
  Rate rate_;
  double tokens_;
  std::chrono::nanoseconds updated_;
};

}  // namespace vantora::companion
