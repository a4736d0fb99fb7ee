// Rate control for screens: chooses the quantizer of each frame.
#pragma once

#include <chrono>
#include <optional>

namespace vantora {

// For an encoder that takes one quantizer (H.264 scale, 0 to 51) for a whole frame. Screens are still, then change
// entirely or scroll, then are still again. A change must be sent at once, however coarse; scrolling must stay even;
// and the screen must become sharp while nothing changes. So the quantizer goes up to the coarsest before a frame is
// dropped; a frame is dropped while too much of the earlier ones is still waiting to be sent; and what was encoded
// coarsely is encoded again, finer, when nothing has changed for a while.
//
// Expected size of a frame: the costs of its new content, of its moved content and, when the quantizer is finer than
// that of the coarse part, of refining the coarse part. Each is learnt from earlier frames.
//
// Pure: time is passed with each call and never runs backwards. Any thread, one at a time.
class QuantizerControl {
 public:
  static constexpr int kFinest = 9;
  static constexpr int kCoarsest = 51;
  using Time = std::chrono::nanoseconds;

  // How a frame differs from the last encoded one; both 0 to 1.
  struct Change {
    double share = 0;  // Of the frame that differs.
    double fresh = 0;  // Of the frame whose content was nowhere in the last one; at most `share`. The rest has moved.
    static Change whole(double share) { return {share, share}; }
  };

  // `blocks`: number of 16 by 16 blocks of a frame, at least 1. `finest`: from kFinest to kCoarsest.
  explicit QuantizerControl(int blocks, int finest = kFinest);

  // Bits per second that the encoder may produce, > 0.
  void setRate(double bitsPerSecond);

  // The quantizer for the next frame; empty if it is to be dropped (a key frame never is): too much is waiting to be
  // sent, or nothing has changed and nothing is to be made finer.
  std::optional<int> plan(const Change& change, bool key, Time now);
  // To be called with the size `bits` of the planned frame. If it is too large and a coarser key frame would be
  // smaller: the quantizer of that; then call encoded() for the key frame only. Otherwise empty.
  std::optional<int> retryQuantizer(int quantizer, const Change& change, bool key, double bits) const;
  // Bits that the first part of a new page may take, and one that follows. 0 while too much is waiting.
  double firstPartBudget() const;
  double nextPartBudget(Time now);
  // Nothing is waiting to be sent.
  bool isIdle() const { return queue_ <= 0; }
  // Expected bits of new content of `share` (0 to 1) of the frame at `quantizer`.
  double expectedFresh(double share, int quantizer) const { return expectedChange(Change::whole(share), quantizer); }
  // The frame is replaced by a page in parts, each of which is then reported as encoded at `quantizer`.
  void startPage(int quantizer);

  // The frame was encoded and will be sent.
  void encoded(int quantizer, const Change& change, bool key, double bits);
  // The last frame was so large that the encoder cannot have found the moved content.
  bool searchFailed() const { return searchFailed_; }

 private:
  void send(Time now);
  double keyBudget() const;
  double expectedChange(const Change& change, int quantizer) const;
  double expectedRefinement(int quantizer) const;
  int stepped(const Change& change, int quantizer, double budget);
  int quantizerOfChange(const Change& change, double budget) const;
  std::optional<int> refinement(Time still) const;
  void noteCoarse(int quantizer, double share);

  const int finest_;
  double bitsPerSecond_ = 1'000'000;
  // Bits at quantizer 26: of a key frame, of new content of the whole frame, of the content that the frame has (and
  // whether that is being sent in parts), and of the whole frame moved (at first, and as learnt).
  double keyFrameBits_;
  double freshBits_;
  double frameBits_;
  bool isPage_ = false;
  double firstMovedBits_;
  double movedBits_;
  // What making the frame finer by one quantizer step costs for each of these bits.
  double refinementCost_ = 1.0 / 13;
  int lastQuantizer_ = kCoarsest;
  // Frames at the finest quantizer that may still follow.
  int passes_ = 0;
  // Bits produced but not sent yet.
  double queue_ = 0;
  std::optional<Time> last_;
  bool searchFailed_ = false;
  // Time since the frame before the planned one, and since the last one with new content, in seconds.
  double interval_ = 0;
  // Share of what the link carries that the frames of a change have taken; smoothed.
  double usage_ = 1;
  bool follows_ = false;  // The frame comes soon after the one before.
  double sinceFresh_ = 0;
  // Time of the last change.
  std::optional<Time> changedAt_;
  double lastChange_ = 1;  // Its share.
  // The share of the frame that can still be refined, and its quantizer.
  double coarseShare_ = 1;
  double coarseQuantizer_ = kCoarsest;
};

}  // namespace vantora
