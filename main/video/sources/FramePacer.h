// When to look at the screen and when to send a frame.
#pragma once

#include <chrono>
#include <optional>

namespace vantora {

// Decides, from the time and what happened, what the capture has to do next. A change is looked at
// and sent at once, or as soon as the rate allows; a screen that stands still is sent again a few
// times shortly after a change, so that the encoder can sharpen it, then about once a second.
// Repeats and changes together never exceed the rate. A value without a clock or a thread; belongs
// to the capture thread.
class FramePacer {
 public:
  using Time = std::chrono::nanoseconds;  // Since any fixed instant.
  static constexpr Time kForever = Time::max();
  // After a change: this many repeats, this far apart. A thin link takes a second for a page, and until then no
  // encoder makes it sharper.
  static constexpr int kBurstLength = 20;
  static constexpr Time kBurstStep = std::chrono::milliseconds(100);
  // A still screen's repeats.
  static constexpr Time kStillStep = std::chrono::seconds(1);
  // The encoder's own requests are answered at most this often.
  static constexpr Time kEncoderStep = std::chrono::milliseconds(100);

  enum class Action { wait, look, repeat };
  struct Step {
    Action action = Action::wait;
    Time until = kForever;      // For wait: when to ask again at the latest.
    bool wakeOnChange = false;  // For wait: whether a change of the screen matters before that.
    bool operator==(const Step&) const = default;
  };

  // `fps` is 1 to 120.
  explicit FramePacer(int fps);

  // Forgets everything but the rate: the next thing to do is to look and to send, at once.
  void restart();
  // The display says that it changed.
  void changeSeen() { changePending_ = true; }
  // A viewer needs the picture.
  void refreshAsked() { refreshPending_ = true; }
  // The encoder needs a frame.
  void encoderAsked() { encoderPending_ = true; }

  [[nodiscard]] Step next(Time now) const;

  // What came of a Step: a look that gave a picture, which was sent ...
  void sentChange(Time now);
  // ... a look that gave nothing new ...
  void sawNothing(Time now);
  // ... a look that gave no picture now but is to be tried again ...
  void lookFailed(Time now) { lastLook_ = now; }
  // ... or the last picture, sent again.
  void sentRepeat(Time now);

 private:
  void takeSlot(Time now);
  Time repeatDue() const;

  Time interval_;
  bool changePending_ = true;
  bool refreshPending_ = false;
  bool encoderPending_ = false;
  bool havePicture_ = false;
  int burstLeft_ = 0;
  std::optional<Time> slot_;  // The earliest time of the next frame.
  std::optional<Time> lastSent_;
  std::optional<Time> lastLook_;
  std::optional<Time> lastEncoderAnswer_;
};

}  // namespace vantora
