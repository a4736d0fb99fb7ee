// Time for the session: a clock and timers that tests can replace.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace vantora {

// A running timer; destroying it cancels it. A callback may destroy its own timer.
class Timer {
 public:
  virtual ~Timer() = default;
};

// Clock and timers of one thread. Callbacks run on the thread that made the timer. QtScheduler is the real one,
// tests/fakes/FakeScheduler.h the one for tests.
class Scheduler {
 public:
  using Callback = std::function<void()>;
  virtual ~Scheduler() = default;

  // Monotonic time since an arbitrary start.
  virtual std::chrono::nanoseconds monotonicNow() const = 0;
  // Wall-clock time since 1970-01-01 UTC.
  virtual std::chrono::nanoseconds unixNow() const = 0;
  // Runs `callback` once, `delay` from now.
  [[nodiscard]] virtual std::unique_ptr<Timer> after(std::chrono::milliseconds delay, Callback callback) = 0;
  // Runs `callback` first after `first`, then every `period`.
  [[nodiscard]] virtual std::unique_ptr<Timer> every(std::chrono::milliseconds first, std::chrono::milliseconds period,
                                                     Callback callback) = 0;

  // Whole milliseconds since 1970.
  long long unixMilliseconds() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(unixNow()).count();
  }
  // Seconds since 2001-01-01 UTC, the epoch of the latency figures on the control channel.
  double absoluteSeconds() const {
    constexpr double kSecondsFrom1970To2001 = 978307200.0;
    return std::chrono::duration<double>(unixNow()).count() - kSecondsFrom1970To2001;
  }
};

}  // namespace vantora
