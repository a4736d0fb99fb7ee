// How long a test waits for what has to come.
#pragma once

#include <algorithm>
#include <chrono>

namespace vantora::testing_loop {

// Waiting that is counted from look to look. Its length is no assertion, so it is generous. A machine that stood still
// as a whole uses up little of it: what is waited for had no turn meanwhile, and gets one before the next looks.
class Timeout {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Timeout(std::chrono::milliseconds limit = std::chrono::seconds(30)) : limit_(limit) {}

  // To be asked between two looks.
  [[nodiscard]] bool isOver() {
    const auto now = Clock::now();
    waited_ += std::min<Clock::duration>(now - last_, std::chrono::seconds(5));
    last_ = now;
    return waited_ > limit_;
  }

 private:
  const Clock::duration limit_;
  Clock::time_point last_ = Clock::now();
  Clock::duration waited_{};
};

}  // namespace vantora::testing_loop
