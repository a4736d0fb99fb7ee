// The share of the processor that encoding takes.
#pragma once

#include <cstdint>
#include <optional>

namespace vantora {

// Decides which frames are encoded, so that encoding takes about kShare of the machine's processor time at most. One of
// every n frames is encoded then, and only when many follow one another: after a pause the next ones, up to
// kFreeSeconds of their processor time, are always due.
//
// Pure: times are microseconds since any fixed instant and never run backwards; processor time counts the seconds of
// all threads that encode. Any thread, one at a time.
class EncoderLoad {
 public:
  // Of all cores: the programs that are watched get the larger half.
  static constexpr double kShare = 0.45;
  static constexpr double kFreeSeconds = 0.15;

  explicit EncoderLoad(int cores);

  // Whether a frame that comes now is to be encoded. To be called for each frame.
  [[nodiscard]] bool isDue(std::int64_t nowUs);
  // A frame, started at `nowUs`, took `cpuSeconds` to encode. Key frames take long and are rare: they delay no other.
  void encoded(std::int64_t nowUs, double cpuSeconds, bool key);

  // One of so many frames is encoded.
  int every() const { return every_; }

 private:
  double allowed_;    // Seconds of processor time in a second.
  double spent_ = 0;  // Seconds of processor time beyond what is allowed.
  double cost_ = 0;   // Of a frame, in seconds of processor time; smoothed.
  double step_ = 0;   // Seconds between frames that come; smoothed.
  int every_ = 1;
  int came_ = 0;  // Frames since the last encoded one.
  bool limited_ = false;
  std::optional<std::int64_t> cameUs_;
  std::optional<std::int64_t> encodedUs_;
};

}  // namespace vantora
