// The maximum time that a test waits for a condition.
#pragma once

#include <algorithm>
#include <chrono>

namespace vantora::testloop {

// A timeout measured from check to check. Its length is not asserted, so it is generous. A pause of the whole machine
// uses up little of it: the awaited work did not run meanwhile either, and gets its turn before the next checks.
class Timeout {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Timeout(std::chrono::milliseconds limit = std::chrono::seconds(30)) : limit_(limit) {}

  // To be called between two checks.
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

}  // namespace vantora::testloop
