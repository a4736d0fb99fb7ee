// When to poll the screen and when to send a frame.
#pragma once

#include <chrono>
#include <optional>

namespace vantora {

// Decides, from the time and past events, what the capture has to do next. A change is polled and sent at once, or as
// soon as the rate allows; a still screen is sent again a few times shortly after a change, so that the encoder can
// sharpen it, then about once per second, and in the end every few seconds. Repeats and changes together never exceed
// the rate. A value without a clock or a thread; used on the capture thread.
class FramePacer {
 public:
  using Time = std::chrono::nanoseconds;  // Since any fixed instant.
  static constexpr Time kForever = Time::max();
  // Number and interval of repeats after a change. A slow link takes several seconds until a page is sharp, and the
  // encoders send it in parts; one that has nothing left to send ignores the rest.
  static constexpr int kBurstLength = 60;
  static constexpr Time kBurstStep = std::chrono::milliseconds(100);
  // Number and interval of the repeats of a still screen after that.
  static constexpr int kStillRepeats = 6;
  static constexpr Time kStillStep = std::chrono::seconds(1);
  // Interval of all further repeats. Browsers request a key frame when they get no frame for three seconds.
  static constexpr Time kRestStep = std::chrono::milliseconds(2500);
  // Minimum interval of repeats on request of the encoder.
  static constexpr Time kEncoderStep = std::chrono::milliseconds(100);

  enum class Action { wait, poll, repeat };
  struct Step {
    Action action = Action::wait;
    Time until = kForever;      // For wait: when to call next() again at the latest.
    bool wakeOnChange = false;  // For wait: whether a change of the screen ends it early.
    bool operator==(const Step&) const = default;
  };

  // `fps` is 1 to 120.
  explicit FramePacer(int fps);

  // Resets everything but the rate: the next step is to poll and to send, at once.
  void restart();
  // The display reported a change.
  void noteChange() { changePending_ = true; }
  // A viewer needs a frame.
  void requestRefresh() { refreshPending_ = true; }
  // The encoder needs a frame.
  void requestByEncoder() { encoderPending_ = true; }

  [[nodiscard]] Step next(Time now) const;

  // The result of a Step: a poll returned a changed frame, which was sent,
  void sentChange(Time now);
  // or a poll found no change,
  void pollUnchanged(Time now);
  // or a poll returned no frame and has to be repeated,
  void pollFailed(Time now) { lastPoll_ = now; }
  // or the last frame was sent again.
  void sentRepeat(Time now);

 private:
  void takeSlot(Time now);
  Time repeatStep() const;
  Time repeatDue() const;

  Time interval_;
  bool changePending_ = true;
  bool refreshPending_ = false;
  bool encoderPending_ = false;
  bool haveFrame_ = false;
  int repeatsLeft_ = 0;       // Before those of a screen at rest.
  std::optional<Time> slot_;  // The earliest time of the next frame.
  std::optional<Time> lastSent_;
  std::optional<Time> lastPoll_;
  std::optional<Time> lastEncoderAnswer_;
};

}  // namespace vantora
