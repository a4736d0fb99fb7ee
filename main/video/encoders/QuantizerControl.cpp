#include "main/video/encoders/QuantizerControl.h"

#include <algorithm>
#include <cmath>

namespace vantora {
namespace {

constexpr int kReference = 26;
// Measured on pages of text: between 6 and 9 from the finest to the coarsest quantizers.
constexpr double kHalving = 7;
// Initial estimate of the bits of one block at kReference: a desktop with some text.
constexpr double kBlockBits = 400;
// How long a key frame and a refinement of a still screen may take to send, in seconds.
constexpr double kKeySeconds = 0.4;
constexpr double kStillSeconds = 0.25;
constexpr double kMaxStillSeconds = 1;
// Maximum of saved bits, in seconds of the link's rate, and the share of them that one changed frame may use.
constexpr double kSavedSeconds = 0.3;
constexpr double kSavedShare = 0.5;
// Frames are dropped while more than this is waiting to be sent, in seconds (at least one frame interval).
constexpr double kWaitingSeconds = 0.06;
// A key frame larger than its budget by this factor is encoded again.
constexpr double kKeyExcess = 1.3;
// A still screen is refined only by at least this many quantizer steps.
constexpr int kWorthwhile = 3;
// A frame is encoded again only if that makes it smaller by this factor.
constexpr double kWorthAgain = 1.2;
// Maximum refinement per frame while the screen changes, in quantizer steps.
constexpr int kMovingStep = 2;
// Quantizer steps after which the encoder is certain to encode an unchanged part again.
constexpr int kStairs = 6;
// From this share of the maximum of saved bits on, the estimate for refinement is multiplied by kForget at each frame.
constexpr double kAllSaved = 0.9;
constexpr double kForget = 0.93;
// A screen that was still for less than this is only between two changes: refining text that scrolls on is a waste.
constexpr std::chrono::milliseconds kSettled{80};
// A smaller share counts as no change.
constexpr double kStill = 1e-4;

// Bits at `quantizer` for each bit at kReference.
double sizeAt(int quantizer) { return std::exp2((kReference - quantizer) / kHalving); }

// Adapts an estimate to an observed size: upwards in full, because frames that are too large do the harm; downwards by
// the square root only.
void follow(double& whole, double ratio) {
  ratio = std::clamp(ratio, 0.25, 4.0);
  whole *= ratio > 1 ? ratio : std::sqrt(ratio);
}

}  // namespace

QuantizerControl::QuantizerControl(int blocks)
    : keyFrameBits_(kBlockBits * std::max(blocks, 1)), changeBits_(keyFrameBits_), refinementBits_(keyFrameBits_) {}

void QuantizerControl::setRates(double bitsPerSecond, double framesPerSecond) {
  bitsPerSecond_ = std::max(bitsPerSecond, 1.0);
  framesPerSecond_ = std::max(framesPerSecond, 1.0);
}

double QuantizerControl::keyBudget() const { return bitsPerSecond_ * kKeySeconds + std::max(-debt_, 0.0); }

double QuantizerControl::budget(bool still) const {
  const double saved = std::max(-debt_, 0.0);
  if (still) return bitsPerSecond_ * kStillSeconds + saved - std::max(debt_, 0.0);
  const double interval = bitsPerSecond_ / framesPerSecond_;
  return std::max(interval + saved * kSavedShare - std::max(debt_, 0.0), interval / 4);
}

double QuantizerControl::expectedChange(double changed, int quantizer) const {
  return changed * changeBits_ * sizeAt(quantizer);
}

double QuantizerControl::expectedRefinement(int quantizer) const {
  if (quantizer >= unrefinedQuantizer_) return 0;
  // The encoder leaves an unchanged part as it is for a few steps, then encodes all of it at once: assume that it does
  // so now.
  return unrefinedShare_ * refinementBits_ *
         (sizeAt(quantizer) - sizeAt(std::max(unrefinedQuantizer_, quantizer + kStairs)));
}

std::optional<int> QuantizerControl::plan(double changed, bool key, Time now) {
  if (last_) {
    const double elapsed = std::chrono::duration<double>(std::max(now - *last_, Time::zero())).count();
    debt_ = std::max(debt_ - elapsed * bitsPerSecond_, -kSavedSeconds * bitsPerSecond_);
  }
  last_ = now;
  if (key) {
    int quantizer = kFinest;
    while (quantizer < kCoarsest && keyFrameBits_ * sizeAt(quantizer) > keyBudget()) ++quantizer;
    return quantizer;
  }
  if (debt_ > bitsPerSecond_ * std::max(1 / framesPerSecond_, kWaitingSeconds)) return std::nullopt;
  const bool still = changed < kStill;
  if (!still) changedAt_ = now;
  if (still && changedAt_ && now - *changedAt_ < kSettled) return unrefinedQuantizer_;
  const double maximum = budget(still);
  int quantizer = kFinest;
  while (quantizer < kCoarsest && expectedChange(changed, quantizer) + expectedRefinement(quantizer) > maximum)
    ++quantizer;
  if (still) return quantizer > unrefinedQuantizer_ - kWorthwhile ? unrefinedQuantizer_ : quantizer;
  // While the screen changes, the cost of refining the coarse part is uncertain: refine it step by step.
  return unrefinedShare_ > 0 ? std::max(quantizer, unrefinedQuantizer_ - kMovingStep) : quantizer;
}

std::optional<int> QuantizerControl::retryQuantizer(int quantizer, double changed, bool key, double bits) const {
  // A refinement of a still screen may take longer to send: a coarse frame instead would have to be refined again.
  const bool still = !key && changed < kStill;
  if (bits <= (still ? bitsPerSecond_ * kMaxStillSeconds : keyBudget() * kKeyExcess)) return std::nullopt;
  // A frame in which motion search found nothing costs about as much as a key frame of the same quantizer.
  const double whole = key ? bits / sizeAt(quantizer) : std::max(keyFrameBits_, bits / sizeAt(quantizer));
  int better = key ? quantizer + 1 : quantizer;
  while (better < kCoarsest && whole * sizeAt(better) > keyBudget()) ++better;
  if (better > kCoarsest || whole * sizeAt(better) * kWorthAgain > bits) return std::nullopt;
  return better;
}

void QuantizerControl::encoded(int quantizer, double changed, bool key, double bits) {
  // Bits are left over all the time: refinement may cost less than estimated.
  if (!key && debt_ <= -kSavedSeconds * bitsPerSecond_ * kAllSaved) refinementBits_ *= kForget;
  debt_ += bits;
  if (key) {
    follow(keyFrameBits_, bits / (keyFrameBits_ * sizeAt(quantizer)));
    // Refining or changing the whole frame costs about as much, until a real change has been measured.
    refinementBits_ = keyFrameBits_;
    changeBits_ = keyFrameBits_;
    unrefinedShare_ = 1;
    unrefinedQuantizer_ = quantizer;
    return;
  }
  const bool still = changed < kStill;
  const bool refined = quantizer < unrefinedQuantizer_;
  const double change = still ? 0 : expectedChange(changed, quantizer);
  const double refinement = expectedRefinement(quantizer);
  if (const double expected = change + refinement; expected > 0) {
    const double ratio = std::max(bits, 1.0) / expected;
    if (!still) follow(changeBits_, ratio);
    // A step that cost little says nothing about the step at which everything is encoded again.
    if (refined && ratio > 1) follow(refinementBits_, ratio);
  }
  if (refined || changed >= unrefinedShare_) {
    unrefinedShare_ = std::max(unrefinedShare_, changed);
    unrefinedQuantizer_ = quantizer;
  } else if (!still) {
    const double sum = unrefinedShare_ + changed;
    unrefinedQuantizer_ =
        static_cast<int>(std::lround((unrefinedShare_ * unrefinedQuantizer_ + changed * quantizer) / sum));
    unrefinedShare_ = std::min(1.0, sum);
  }
  // Close enough to the finest quantizer: from now on only changed parts can be coarse.
  if (unrefinedQuantizer_ < kFinest + kWorthwhile) {
    unrefinedShare_ = 0;
    unrefinedQuantizer_ = kFinest;
  }
}

}  // namespace vantora
