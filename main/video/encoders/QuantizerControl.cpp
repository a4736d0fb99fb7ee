#include "main/video/encoders/QuantizerControl.h"

#include <algorithm>
#include <cmath>

namespace vantora {
namespace {

constexpr int kReference = 26;
// Measured on pages of text: between 6 and 9 from the finest to the coarsest quantizers.
constexpr double kHalving = 7;
// Bits of one block at kReference before anything was learnt: a desktop with some text.
constexpr double kBlockBits = 400;
// How much of the link's time a key picture and a picture of a screen at rest may take, in seconds.
constexpr double kKeySeconds = 0.4;
constexpr double kStillSeconds = 0.25;
constexpr double kMaxStillSeconds = 1;
// Time of the link that is kept as saved, and the share of it that one changed picture may use up.
constexpr double kSavedSeconds = 0.3;
constexpr double kSavedShare = 0.5;
// Left out while more than this is waiting (at least one picture's interval).
constexpr double kWaitingSeconds = 0.06;
// A key picture is coded again when it is larger than planned by this.
constexpr double kKeyExcess = 1.3;
// A screen at rest is coded again only when it becomes finer by this much.
constexpr int kWorthwhile = 3;
// A picture is coded again when that makes it smaller by this factor.
constexpr double kWorthAgain = 1.2;
// At most this much finer at once while things move.
constexpr int kMovingStep = 2;
// Quantizer steps after which a part that did not change is coded again for certain.
constexpr int kStairs = 6;
// Saved bits that count as all that can be saved; what is then forgotten with each picture.
constexpr double kAllSaved = 0.9;
constexpr double kForget = 0.93;
// A screen that was still for less than this is only between two changes: finer text that scrolls on would be in vain.
constexpr std::chrono::milliseconds kSettled{80};
// Less than this counts as no change.
constexpr double kStill = 1e-4;

// Bits at `quantizer` for each bit at kReference.
double sizeAt(int quantizer) { return std::exp2((kReference - quantizer) / kHalving); }

// Follows an observed size: more than expected counts at once, for too large a picture is what hurts; less by half.
void follow(double& whole, double ratio) {
  ratio = std::clamp(ratio, 0.25, 4.0);
  whole *= ratio > 1 ? ratio : std::sqrt(ratio);
}

}  // namespace

QuantizerControl::QuantizerControl(int blocks)
    : wholeKey_(kBlockBits * std::max(blocks, 1)), wholeChange_(wholeKey_), wholeRefined_(wholeKey_) {}

void QuantizerControl::setRates(double bitsPerSecond, double picturesPerSecond) {
  bitsPerSecond_ = std::max(bitsPerSecond, 1.0);
  picturesPerSecond_ = std::max(picturesPerSecond, 1.0);
}

double QuantizerControl::keyBudget() const { return bitsPerSecond_ * kKeySeconds + std::max(-debt_, 0.0); }

double QuantizerControl::budget(bool still) const {
  const double saved = std::max(-debt_, 0.0);
  if (still) return bitsPerSecond_ * kStillSeconds + saved - std::max(debt_, 0.0);
  const double interval = bitsPerSecond_ / picturesPerSecond_;
  return std::max(interval + saved * kSavedShare - std::max(debt_, 0.0), interval / 4);
}

double QuantizerControl::expectedChange(double changed, int quantizer) const {
  return changed * wholeChange_ * sizeAt(quantizer);
}

double QuantizerControl::expectedRefinement(int quantizer) const {
  if (quantizer >= coarseQuantizer_) return 0;
  // What is there already is not touched for a few steps, then all of it at once: take the steps as being up.
  return coarseShare_ * wholeRefined_ * (sizeAt(quantizer) - sizeAt(std::max(coarseQuantizer_, quantizer + kStairs)));
}

std::optional<int> QuantizerControl::plan(double changed, bool key, Time now) {
  if (last_) {
    const double elapsed = std::chrono::duration<double>(std::max(now - *last_, Time::zero())).count();
    debt_ = std::max(debt_ - elapsed * bitsPerSecond_, -kSavedSeconds * bitsPerSecond_);
  }
  last_ = now;
  if (key) {
    int quantizer = kFinest;
    while (quantizer < kCoarsest && wholeKey_ * sizeAt(quantizer) > keyBudget()) ++quantizer;
    return quantizer;
  }
  if (debt_ > bitsPerSecond_ * std::max(1 / picturesPerSecond_, kWaitingSeconds)) return std::nullopt;
  const bool still = changed < kStill;
  if (!still) changedAt_ = now;
  if (still && changedAt_ && now - *changedAt_ < kSettled) return coarseQuantizer_;
  const double most = budget(still);
  int quantizer = kFinest;
  while (quantizer < kCoarsest && expectedChange(changed, quantizer) + expectedRefinement(quantizer) > most)
    ++quantizer;
  if (still) return quantizer > coarseQuantizer_ - kWorthwhile ? coarseQuantizer_ : quantizer;
  // While things move, what the coarse part will cost is least certain: it becomes finer step by step.
  return coarseShare_ > 0 ? std::max(quantizer, coarseQuantizer_ - kMovingStep) : quantizer;
}

std::optional<int> QuantizerControl::better(int quantizer, double changed, bool key, double bits) const {
  // What makes a screen at rest finer may take longer: a coarse picture in its place would have to be made finer again.
  const bool still = !key && changed < kStill;
  if (bits <= (still ? bitsPerSecond_ * kMaxStillSeconds : keyBudget() * kKeyExcess)) return std::nullopt;
  // A picture in which nothing was found again costs about as much as a key picture of the same quantizer.
  const double whole = key ? bits / sizeAt(quantizer) : std::max(wholeKey_, bits / sizeAt(quantizer));
  const int least = key ? quantizer + 1 : quantizer;
  int better = least;
  while (better < kCoarsest && whole * sizeAt(better) > keyBudget()) ++better;
  if (better > kCoarsest || whole * sizeAt(better) * kWorthAgain > bits) return std::nullopt;
  return better;
}

void QuantizerControl::taken(int quantizer, double changed, bool key, double bits) {
  // With bits left over all the time the part at rest may cost less than believed.
  if (!key && debt_ <= -kSavedSeconds * bitsPerSecond_ * kAllSaved) wholeRefined_ *= kForget;
  debt_ += bits;
  if (key) {
    follow(wholeKey_, bits / (wholeKey_ * sizeAt(quantizer)));
    // Coding all of it again finer costs about as much; so does a change of all of it, until one has been seen.
    wholeRefined_ = wholeKey_;
    wholeChange_ = wholeKey_;
    coarseShare_ = 1;
    coarseQuantizer_ = quantizer;
    return;
  }
  const bool still = changed < kStill;
  const bool refined = quantizer < coarseQuantizer_;
  const double change = still ? 0 : expectedChange(changed, quantizer);
  const double refinement = expectedRefinement(quantizer);
  if (const double expected = change + refinement; expected > 0) {
    const double ratio = std::max(bits, 1.0) / expected;
    if (!still) follow(wholeChange_, ratio);
    // Steps that cost nothing say nothing about the one that will.
    if (refined && ratio > 1) follow(wholeRefined_, ratio);
  }
  if (refined || changed >= coarseShare_) {
    coarseShare_ = std::max(coarseShare_, changed);
    coarseQuantizer_ = quantizer;
  } else if (!still) {
    const double sum = coarseShare_ + changed;
    coarseQuantizer_ = static_cast<int>(std::lround((coarseShare_ * coarseQuantizer_ + changed * quantizer) / sum));
    coarseShare_ = std::min(1.0, sum);
  }
  // As good as it gets: from here on only what changes can become coarse.
  if (coarseQuantizer_ < kFinest + kWorthwhile) {
    coarseShare_ = 0;
    coarseQuantizer_ = kFinest;
  }
}

}  // namespace vantora
