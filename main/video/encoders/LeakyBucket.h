// How much of the encoded data is still waiting to be sent.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

namespace vantora {

// Bits go in as frames are encoded and leak at the rate of the link. Pure: the time, in microseconds since any fixed
// instant, is passed with each call; time that runs backwards counts as 0. Any thread, one at a time.
class LeakyBucket {
 public:
  void setRate(double bitsPerSecond) { rate_ = std::max(bitsPerSecond, 1.0); }
  void add(double bits) { bits_ += bits; }

  // Seconds until it is empty.
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
