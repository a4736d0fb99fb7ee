// When the synthetic source makes frames and reports its rate.
#pragma once

#include <chrono>
#include <optional>

namespace vantora {

// The first frame is due at once, then one every 1,000,000,000 / fps nanoseconds (integer division), counted from the
// start, so that delays never add up; reports are due every second after the first second. Ticks missed entirely are
// skipped. A value without a clock.
class TickSchedule {
 public:
  using Time = std::chrono::nanoseconds;  // Since any fixed instant.
  enum class Tick { frame, report };

  // `fps` is 1 to 120.
  TickSchedule(Time start, int fps, bool reports);

  // The next tick, and when it is due. A report precedes a frame that is due within a millisecond, so that every report
  // counts the same number of frames.
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
