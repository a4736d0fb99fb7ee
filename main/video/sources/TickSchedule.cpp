#include "main/video/sources/TickSchedule.h"

namespace vantora {

TickSchedule::TickSchedule(Time start, int fps, bool reports) : frames_{start, Time(std::chrono::seconds(1)) / fps} {
  if (reports) reports_ = Clock{start + std::chrono::seconds(1), std::chrono::seconds(1)};
}

TickSchedule::Tick TickSchedule::next() const {
  return reports_ && reports_->due <= frames_.due + kLeeway ? Tick::report : Tick::frame;
}

TickSchedule::Time TickSchedule::due() const { return next() == Tick::report ? reports_->due : frames_.due; }

void TickSchedule::done(Time now) { (next() == Tick::report ? *reports_ : frames_).advance(now); }

void TickSchedule::Clock::advance(Time now) {
  due += period;
  if (due + period <= now) due += (now - due) / period * period;
}

}  // namespace vantora
