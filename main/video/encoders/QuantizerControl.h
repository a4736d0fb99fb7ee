// Rate control for screens: chooses the quantizer of each frame.
#pragma once

#include <chrono>
#include <optional>

namespace vantora {

// For an encoder that takes one quantizer (H.264 scale, 0 to 51) for a whole frame. Screens are still, then change
// entirely, then are still again. A change must be sent at once, however coarse, and the screen must become sharp while
// nothing changes. So a frame may cost at most what the link carries in a fraction of a second; what was encoded
// coarsely is encoded again, finer, as soon as there are bits left; and a frame is dropped while too much of the
// earlier ones is still waiting to be sent.
//
// Expected size of a frame: the cost of its changed part and, when the quantizer is finer than that of the coarse part,
// the cost of refining the coarse part. Both are learnt from earlier frames and halve with every kHalving steps of the
// quantizer.
//
// Pure: time is passed with each call and never runs backwards. Any thread, one at a time.
class QuantizerControl {
 public:
  static constexpr int kFinest = 14;
  static constexpr int kCoarsest = 51;
  using Time = std::chrono::nanoseconds;

  // `blocks`: number of 16 by 16 blocks of a frame, at least 1.
  explicit QuantizerControl(int blocks);

  // Bits per second that the encoder may produce, and frames per second to expect; both > 0.
  void setRates(double bitsPerSecond, double framesPerSecond);

  // The quantizer for a frame of which the share `changed` (0 to 1) differs from the one before; empty if it is to be
  // dropped (a key frame never is).
  std::optional<int> plan(double changed, bool key, Time now);
  // To be called with the size `bits` of the planned frame. If it is too large and a coarser key frame would be
  // smaller: the quantizer of that; then call encoded() for the key frame only. Otherwise empty.
  std::optional<int> retryQuantizer(int quantizer, double changed, bool key, double bits) const;
  // The frame was encoded and will be sent.
  void encoded(int quantizer, double changed, bool key, double bits);

 private:
  double budget(bool still) const;
  double keyBudget() const;
  double expectedChange(double changed, int quantizer) const;
  double expectedRefinement(int quantizer) const;

  double bitsPerSecond_ = 1'000'000;
  double framesPerSecond_ = 30;
  // Bits at quantizer 26: of a key frame, of a change of the whole frame, of refining the whole frame.
  double keyFrameBits_;
  double changeBits_;
  double refinementBits_;
  // Bits produced but not sent yet; negative: bits saved.
  double debt_ = 0;
  std::optional<Time> last_;
  // Time of the last change.
  std::optional<Time> changedAt_;
  // The share of the frame that can still be refined, and its quantizer.
  double unrefinedShare_ = 1;
  int unrefinedQuantizer_ = kCoarsest;
};

}  // namespace vantora
