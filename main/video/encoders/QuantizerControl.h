// Rate control for screens: chooses the quantizer of each picture.
#pragma once

#include <chrono>
#include <optional>

namespace vantora {

// For an encoder that takes one quantizer (H.264 scale, 0 to 51) for a whole picture. Screens are still, then change
// altogether, then are still again; what counts is that the change is on its way at once, however coarse, and that the
// picture becomes sharp while nothing happens. So a picture may cost what the link carries in a fraction of a second
// and no more; what was coded coarsely is coded again, finer, as soon as there are bits left; and a picture is left out
// while too much of the earlier ones is still waiting.
//
// Expected size of a picture: what its changed part costs, and, when the quantizer is finer than that of the coarse
// part, the difference that the coarse part then makes; both learnt from the pictures before, falling by half for every
// kHalving steps of the quantizer.
//
// Pure: time comes in with each call and never runs backwards. Any thread, one at a time.
class QuantizerControl {
 public:
  static constexpr int kFinest = 14;
  static constexpr int kCoarsest = 51;
  using Time = std::chrono::nanoseconds;

  // `blocks`: number of 16 by 16 blocks of a picture, at least 1.
  explicit QuantizerControl(int blocks);

  // Bits a second that the encoder may make, and pictures a second that will come; both > 0.
  void setRates(double bitsPerSecond, double picturesPerSecond);

  // The quantizer for a picture of which `changed` (0 to 1) differs from the one before; none when it is to be left out
  // (a key picture never is).
  std::optional<int> plan(double changed, bool key, Time now);
  // The planned picture, of which `changed` differs, came out with `bits`. For one that came out too large and would be
  // smaller as a coarser key picture: the quantizer of that; then report only that one as taken.
  std::optional<int> better(int quantizer, double changed, bool key, double bits) const;
  // The picture was taken.
  void taken(int quantizer, double changed, bool key, double bits);

 private:
  double budget(bool still) const;
  double keyBudget() const;
  double expectedChange(double changed, int quantizer) const;
  double expectedRefinement(int quantizer) const;

  double bitsPerSecond_ = 1'000'000;
  double picturesPerSecond_ = 30;
  // Bits at quantizer 26: of a whole key picture, of a change of everything, of everything made finer.
  double wholeKey_;
  double wholeChange_;
  double wholeRefined_;
  // Bits made beyond what the link took; negative: bits saved.
  double debt_ = 0;
  std::optional<Time> last_;
  // When something changed last.
  std::optional<Time> changedAt_;
  // The part of the picture that is coarser than it need be, and its quantizer.
  double coarseShare_ = 1;
  int coarseQuantizer_ = kCoarsest;
};

}  // namespace vantora
