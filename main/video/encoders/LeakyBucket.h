// How much of what was encoded is still waiting for the link.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

namespace vantora {

// Bits go in as pictures are encoded and leak at the rate of the link. Pure: time, in microseconds since any fixed
// instant, comes in with each call; one that runs backwards counts as none. Any thread, one at a time.
class LeakyBucket {
 public:
  void setRate(double bitsPerSecond) { rate_ = std::max(bitsPerSecond, 1.0); }
  void add(double bits) { bits_ += bits; }

  // Seconds until all that is in it has left.
  double seconds(std::int64_t nowUs) {
    if (last_)
      bits_ = std::max(0.0, bits_ - static_cast<double>(std::max<std::int64_t>(nowUs - *last_, 0)) * 1e-6 * rate_);
    last_ = nowUs;
    return bits_ / rate_;
  }

 private:
  double rate_ = 1'000'000;
  double bits_ = 0;
  std::optional<std::int64_t> last_;
};

}  // namespace vantora
