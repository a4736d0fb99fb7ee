// When the synthetic source makes frames and reports its rate.
#pragma once

#include <chrono>
#include <optional>

namespace vantora {

// The first frame is due at once, then one every 1,000,000,000 / fps nanoseconds (integer division),
// counted from the start, so that lateness never adds up; the reports every second after the first
// second. Times that were slept through altogether are left out. A value without a clock.
class TickSchedule {
 public:
  using Time = std::chrono::nanoseconds;  // Since any fixed instant.
  enum class Tick { frame, report };

  // `fps` is 1 to 120.
  TickSchedule(Time start, int fps, bool reports);

  // What is due first, and when. A report goes before a frame that is due within a millisecond, so
  // that a report's second holds the same number of frames every time.
  Tick next() const;
  Time due() const;
  // The tick that next() named was carried out at `now`.
  void done(Time now);

 private:
  struct Clock {
    Time due;
    Time period;
    void advance(Time now);
  };
  static constexpr Time kLeeway = std::chrono::milliseconds(1);

  Clock frames_;
  std::optional<Clock> reports_;
};

}  // namespace vantora
