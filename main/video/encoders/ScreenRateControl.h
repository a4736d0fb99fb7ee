// Which part of a screen the next frame holds, and how coarse it is.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "main/video/encoders/LeakyBucket.h"

namespace vantora {

// For encoders that code a frame at any quantizer from 0 (finest) to 63. A change is sent at once, coarse if the link
// is slow; text that moves gets the quantizer at which its frames fit the link; and what stands still is made finer
// stripe by stripe, so that no frame occupies the link for long. Frames are left out only while earlier ones wait to be
// sent.
//
// Pure: times are microseconds since any fixed instant and never run backwards. Any thread, one at a time.
class ScreenRateControl {
 public:
  // Height of a stripe in pixels: the largest block of the codecs.
  static constexpr int kStripe = 64;
  static constexpr int kCoarsest = 63;
  // What stands still is made this fine in turn, after all of it is there, and then as fine as it gets.
  static constexpr int kReadable = 38;
  static constexpr int kFine = 18;
  // From this share of changes on, a frame shows a new page or text that moves.
  static constexpr double kLargeChange = 0.1;

  struct Plan {
    int quantizer;
    // The stripes that are encoded: from `first` to before `end`.
    int first;
    int end;
    bool operator==(const Plan&) const = default;
  };

  // A screen of `width` by `height` pixels; `finest` is the finest useful quantizer. With `shortSearch` the encoder
  // finds moved text only within a few lines: such frames are sent although earlier ones wait.
  ScreenRateControl(int width, int height, int finest, bool shortSearch);

  void setRate(double bitsPerSecond);
  // A frame came in which `share` (0 to 1) of the screen changed, in the rows of pixels from `top` to before `bottom`.
  void noteChange(double share, int top, int bottom);
  // What to encode now; empty: nothing, because earlier frames wait or the viewer has it all. A key frame is never
  // empty.
  [[nodiscard]] std::optional<Plan> plan(std::int64_t nowUs, bool key);
  // The frame just planned was encoded and has so many bits.
  void encoded(double bits);

  // The viewer has everything, as fine as it gets.
  bool isSharp() const;
  // Seconds until what was encoded is sent.
  double waiting(std::int64_t nowUs) { return queued_.seconds(nowUs); }
  int stripes() const { return static_cast<int>(shown_.size()); }

 private:
  enum class Kind { key, newPage, motion, smallChange, refinement };
  struct Stage {
    int quantizer;
    double stripeBits;  // Expected for one stripe; learnt.
  };

  std::optional<Plan> planLarge(double waiting, std::int64_t nowUs);
  Plan planSmall(double waiting) const;
  std::optional<Plan> planRefinement(double waiting, std::int64_t nowUs);
  int pageQuantizer() const;
  void learnMotion(double bits);
  void learnStage(double bits);
  void forgetCosts();

  double stripePixels_;
  int finest_;
  bool shortSearch_;
  double rate_ = 1'000'000;
  LeakyBucket queued_;
  // The quantizer at which the viewer has each stripe; kMissing: not at all.
  std::vector<int> shown_;
  // Changes since the last encoded frame.
  double share_ = 0;
  int firstChanged_ = 0;
  int endChanged_ = 0;

  Kind kind_ = Kind::key;
  Plan planned_{};
  std::optional<std::int64_t> plannedUs_;  // Of the last frame that was planned.
  double interval_ = 0;                    // Seconds between that and the one before.
  double waitingThen_ = 0;
  std::optional<std::int64_t> largeUs_;  // The last large change.
  double motionQuantizer_ = kCoarsest;
  double motionLoad_ = 1;  // Smoothed: bits of the frames that moved, divided by those that the link had for them.
  std::vector<Stage> stages_;
  size_t stage_ = 0;
};

}  // namespace vantora
