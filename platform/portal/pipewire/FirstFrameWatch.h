// What to do about a compositor that sends no first frame.
#pragma once

#include <algorithm>
#include <chrono>
#include <optional>

namespace vantora {

// Compositors that send a frame with each change may send none for a screen that is still. A value without a clock.
class FirstFrameWatch {
 public:
  using Time = std::chrono::steady_clock::time_point;
  // From the beginning of the wait. Restarting the stream is tried first: moving the pointer can be noticed.
  static constexpr std::chrono::milliseconds kRestartAfter{400};
  static constexpr std::chrono::milliseconds kNudgeAfter{1000};
  // Between two restarts and between two nudges.
  static constexpr std::chrono::milliseconds kInterval{3000};
  enum class Action { none, restart, nudge };

  // To be called at due(); `awaitedSince` is set while a frame is awaited. A restart begins another wait.
  Action next(Time now, std::optional<Time> awaitedSince) {
    if (!awaitedSince) {
      due_.reset();
      return Action::none;
    }
    const Time restartAt = std::max(*awaitedSince + kRestartAfter, nextRestart_);
    const Time nudgeAt = std::max(*awaitedSince + kNudgeAfter, nextNudge_);
    Action action = Action::none;
    if (now >= restartAt) {
      nextRestart_ = now + kInterval;
      action = Action::restart;
    } else if (now >= nudgeAt) {
      nextNudge_ = now + kInterval;
      action = Action::nudge;
    }
    due_ = std::max(now, *awaitedSince) + kRestartAfter;
    return action;
  }
  // nullopt: not before a frame is awaited.
  std::optional<Time> due() const { return due_; }

 private:
  std::optional<Time> due_;
  Time nextRestart_{};
  Time nextNudge_{};
};

}  // namespace vantora
