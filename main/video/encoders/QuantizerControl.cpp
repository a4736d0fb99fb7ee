#include "main/video/encoders/QuantizerControl.h"

#include <algorithm>
#include <cmath>

namespace vantora {
namespace {

constexpr int kReference = 26;
// Initial estimates of the bits of one block at kReference: of a desktop with some text, and of moved text.
constexpr double kBlockBits = 400;
constexpr double kMovedBlockBits = 24;
// Quantizer steps that halve the cost of moved content. Measured on pages of text.
constexpr double kMovedHalving = 11;
// Making a frame finer by one step costs this share of a key frame at kReference. Measured on pages of text.
constexpr double kRefinementShare = 1.0 / 13;
// How long a key frame and a change without moved content may take to send, in seconds.
constexpr double kKeySeconds = 0.3;
// The queue to which a new page in parts fills up, in seconds.
constexpr double kFirstPartSeconds = 0.25;
constexpr double kNextPartSeconds = 0.17;
constexpr double kNextPartFactor = 1.7;
// While content moves: the queue to keep, in seconds, and the share of the difference to correct with one frame.
constexpr double kMovingQueueSeconds = 0.025;
constexpr double kCorrection = 0.35;
// A longer time between two frames is a pause; the first frame after one may take the link this long.
constexpr double kMaxInterval = 0.1;
constexpr double kFirstInterval = 0.04;
// Frames are dropped while more than this is waiting to be sent, in seconds.
constexpr double kWaitingSeconds = 0.05;
// A key frame larger than its budget by this factor is encoded again.
constexpr double kKeyExcess = 1.3;
// A frame is encoded again only if that makes it smaller by this factor.
constexpr double kWorthAgain = 1.2;
// Making a still screen finer may take as long as it has been still, times kStillFactor, and a second at most: the
// longer it has been still, the longer it is likely to stay so. Fewer steps at once than kWorthwhile waste bits.
constexpr double kStillFactor = 2;
constexpr double kMaxStillSeconds = 0.4;
constexpr std::chrono::milliseconds kSettled{100};
// A small change is seldom the last one: somebody is typing, and a readable screen can wait.
constexpr std::chrono::milliseconds kSettledTyping{700};
constexpr double kTyping = 0.05;
constexpr double kReadable = 34;
constexpr std::chrono::milliseconds kLongStill{500};
constexpr int kWorthwhile = 3;
constexpr int kMaxSteps = 8;
// What refines the coarse part while the screen changes may take this long to send, in seconds.
constexpr double kMovingRefinementSeconds = 0.05;
// New content of this share of the frame is typical of a page.
constexpr double kTypicalFresh = 0.2;
// A change with at least this share of new content uses up what was saved.
constexpr double kLargeFresh = 0.05;
// While frames take less than this share of what the link carries, smoothed, a finer step is tried that may take the
// link so long, in seconds.
constexpr double kRoomyUsage = 0.6;
constexpr double kUsageSmoothing = 0.1;
constexpr double kTriedSeconds = 0.25;
// Factor at each frame that leaves room on the link for the estimate of what making the rest finer costs.
constexpr double kForget = 0.993;
// Bounds of that estimate. Less than kLeastStep of a quantizer makes nothing finer.
constexpr double kLeastRefinementShare = kRefinementShare / 1000;
constexpr double kLargestRefinementShare = kRefinementShare * 4;
constexpr double kLeastStep = 0.5;
// The encoder leaves out parts that are good enough beside their neighbours: frames at the finest quantizer until they
// take less than this share of a new page.
constexpr int kPasses = 4;
constexpr double kLittle = 0.01;
// A smaller share counts as no change.
constexpr double kStill = 1e-6;
// A change of which less than this share is new content is a movement.
constexpr double kMoved = 0.7;
// Moved content that takes so long to send, in seconds, and costs this share of a new page was not found again.
constexpr double kFailedSeconds = 0.15;
constexpr double kFailedShare = 0.25;

bool isMovement(const QuantizerControl::Change& change) { return change.fresh < change.share * kMoved; }

// Bits of new content at `quantizer` for each bit at kReference. Measured on pages of text: linear down to where little
// more than the brightness of blocks is left.
double sizeAt(double quantizer) {
  constexpr double kKnee = 40;
  constexpr double kSlope = 0.0385;
  constexpr double kHalving = 6;
  const double linear = 1 + (kReference - std::min(quantizer, kKnee)) * kSlope;
  return quantizer <= kKnee ? linear : linear * std::exp2((kKnee - quantizer) / kHalving);
}

double movedSizeAt(double quantizer) { return std::exp2((kReference - quantizer) / kMovedHalving); }

// Adapts an estimate to an observed size: upwards by more, because frames that are too large do the harm.
void follow(double& estimate, double ratio, double up, double down) {
  ratio = std::clamp(ratio, 1.0 / 16, 16.0);
  estimate *= std::pow(ratio, ratio > 1 ? up : down);
}

}  // namespace

QuantizerControl::QuantizerControl(int blocks, int finest)
    : finest_(finest),
      keyFrameBits_(kBlockBits * std::max(blocks, 1)),
      freshBits_(keyFrameBits_),
      frameBits_(keyFrameBits_),
      firstMovedBits_(kMovedBlockBits * std::max(blocks, 1)),
      movedBits_(firstMovedBits_) {}

void QuantizerControl::setRate(double bitsPerSecond) { bitsPerSecond_ = std::max(bitsPerSecond, 1.0); }

double QuantizerControl::keyBudget() const { return bitsPerSecond_ * kKeySeconds; }

double QuantizerControl::expectedChange(const Change& change, int quantizer) const {
  return change.fresh * freshBits_ * sizeAt(quantizer) +
         (change.share - change.fresh) * movedBits_ * movedSizeAt(quantizer);
}

double QuantizerControl::expectedRefinement(int quantizer) const {
  return coarseShare_ * frameBits_ * refinementCost_ * std::max(coarseQuantizer_ - quantizer, 0.0);
}

// The finest quantizer within `budget`.
int QuantizerControl::quantizerOfChange(const Change& change, double budget) const {
  const double refinementBudget = std::min(budget, bitsPerSecond_ * kMovingRefinementSeconds);
  int quantizer = finest_;
  while (quantizer < kCoarsest && (expectedRefinement(quantizer) > refinementBudget ||
                                   expectedChange(change, quantizer) + expectedRefinement(quantizer) > budget))
    ++quantizer;
  return quantizer;
}

// The quantizer that makes a screen finer that has been still for so long; empty if that is not worthwhile.
std::optional<int> QuantizerControl::refinement(Time still) const {
  const bool types = lastChange_ < kTyping && coarseQuantizer_ <= kReadable;
  if (still < (types ? kSettledTyping : kSettled)) return std::nullopt;
  if (coarseShare_ <= 0) return passes_ > 0 && queue_ <= 0 ? std::optional(finest_) : std::nullopt;
  const double seconds = std::min(std::chrono::duration<double>(still).count() * kStillFactor, kMaxStillSeconds);
  const double budget = seconds * bitsPerSecond_ - queue_;
  const int coarse = static_cast<int>(std::lround(coarseQuantizer_));
  int quantizer = std::max(coarse - kMaxSteps, finest_);
  // What was learnt while the screen changed holds for a step or two.
  const double factor = std::max(kRefinementShare / refinementCost_, 1.0);
  while (quantizer < coarse && expectedRefinement(quantizer) * factor > budget) ++quantizer;
  if (quantizer <= std::max(coarse - kWorthwhile, finest_)) return quantizer;
  // A slow link cannot carry a worthwhile step in that time.
  if (still >= kLongStill) return std::max(coarse - kWorthwhile, finest_);
  return std::nullopt;
}

// What the link has sent until now.
void QuantizerControl::send(Time now) {
  interval_ = kFirstInterval;
  follows_ = false;
  if (last_) {
    const double elapsed = std::chrono::duration<double>(std::max(now - *last_, Time::zero())).count();
    follows_ = elapsed <= kMaxInterval;
    if (follows_) interval_ = elapsed;
    sinceFresh_ += elapsed;
    queue_ = std::max(queue_ - elapsed * bitsPerSecond_, 0.0);
  }
  last_ = now;
}

double QuantizerControl::firstPartBudget() const {
  return std::max(bitsPerSecond_ * kFirstPartSeconds - queue_, bitsPerSecond_ * kFirstPartSeconds / 2);
}

double QuantizerControl::nextPartBudget(Time now) {
  const double elapsed = last_ ? std::chrono::duration<double>(now - *last_).count() : 0;
  send(now);
  // Frames of a still screen come rarely after a while.
  const double seconds = std::clamp(elapsed * kNextPartFactor, kNextPartSeconds, kMaxStillSeconds);
  return std::max(bitsPerSecond_ * seconds - queue_, 0.0);
}

void QuantizerControl::startPage(int quantizer) {
  coarseShare_ = 1;
  coarseQuantizer_ = quantizer;
  frameBits_ = 0;
  isPage_ = true;
  passes_ = kPasses;
  refinementCost_ = kRefinementShare;
}

std::optional<int> QuantizerControl::plan(const Change& change, bool key, Time now) {
  send(now);
  isPage_ = false;
  const bool still = change.share < kStill;
  if (!still || key || !changedAt_) changedAt_ = now;
  if (!still || key) lastChange_ = key ? 1 : change.share;
  if (key) {
    int quantizer = finest_;
    while (quantizer < kCoarsest && keyFrameBits_ * sizeAt(quantizer) > keyBudget()) ++quantizer;
    return quantizer;
  }
  if (queue_ > bitsPerSecond_ * kWaitingSeconds) return std::nullopt;
  if (still) return refinement(now - *changedAt_);
  const double perFrame = bitsPerSecond_ * interval_;
  const double correction = kCorrection * (bitsPerSecond_ * kMovingQueueSeconds - queue_);
  const double even = std::max(perFrame + correction, perFrame / 4);
  // What was learnt while content moved is true of a step or two only.
  if (!isMovement(change)) refinementCost_ = std::max(refinementCost_, kRefinementShare);
  if (isMovement(change)) {
    // The first frame of a movement costs more than those that follow.
    if (!follows_) movedBits_ = std::max(movedBits_, firstMovedBits_);
    const int quantizer = quantizerOfChange(change, even);
    return stepped(change, quantizer, even);
  }
  // What could have been sent while nothing new came is for new content.
  const double saved = bitsPerSecond_ * std::min(sinceFresh_, kKeySeconds) - queue_;
  const int quantizer = quantizerOfChange(change, std::max(even, saved));
  return stepped(change, quantizer, even);
}

// While the screen changes, quantizers become finer by one step at a time. What a step costs in the parts that stand
// still is a guess: when the link has had room for a while, one is tried.
int QuantizerControl::stepped(const Change& change, int quantizer, double budget) {
  if (!follows_) return quantizer;
  const int next = std::max(lastQuantizer_ - 1, finest_);
  if (quantizer > next && usage_ < kRoomyUsage && expectedChange(change, next) <= budget &&
      expectedRefinement(next) <= bitsPerSecond_ * kTriedSeconds) {
    usage_ = 1;
    return next;
  }
  return std::max(quantizer, next);
}

std::optional<int> QuantizerControl::retryQuantizer(int quantizer, const Change& change, bool key, double bits) const {
  // What a still screen would lose by a coarse frame would have to be sent again.
  if (!key && change.share < kStill) return std::nullopt;
  if (bits <= keyBudget() * kKeyExcess) return std::nullopt;
  // A frame in which motion search found nothing costs about as much as a key frame of the same quantizer.
  const double whole = key ? bits / sizeAt(quantizer) : std::max(keyFrameBits_, bits / sizeAt(quantizer));
  int better = key ? quantizer + 1 : quantizer;
  while (better < kCoarsest && whole * sizeAt(better) > keyBudget()) ++better;
  if (better > kCoarsest || whole * sizeAt(better) * kWorthAgain > bits) return std::nullopt;
  return better;
}

// A share of the frame now has this quantizer.
void QuantizerControl::noteCoarse(int quantizer, double share) {
  if (const double sum = coarseShare_ + share; sum > 0) {
    coarseQuantizer_ = (coarseShare_ * coarseQuantizer_ + share * quantizer) / sum;
    coarseShare_ = std::min(1.0, sum);
  }
}

void QuantizerControl::encoded(int quantizer, const Change& change, bool key, double bits) {
  queue_ += bits;
  lastQuantizer_ = quantizer;
  searchFailed_ = !key && isMovement(change) && bits > bitsPerSecond_ * kFailedSeconds &&
                  bits > freshBits_ * sizeAt(quantizer) * kFailedShare;
  if (change.fresh >= kLargeFresh || key) sinceFresh_ = 0;
  if (key) {
    passes_ = kPasses;
    follow(keyFrameBits_, bits / (keyFrameBits_ * sizeAt(quantizer)), 1, 1);
    // Refining or changing the whole frame costs about as much, until a real change has been measured.
    freshBits_ = keyFrameBits_;
    frameBits_ = bits / sizeAt(quantizer);
    refinementCost_ = kRefinementShare;
    coarseShare_ = 1;
    coarseQuantizer_ = quantizer;
    return;
  }
  const bool still = change.share < kStill;
  if (!still && interval_ > 0)
    usage_ += kUsageSmoothing * (std::min(bits / (bitsPerSecond_ * interval_), 2.0) - usage_);
  // The link has room: making the rest finer may cost less than estimated.
  if (isMovement(change) && queue_ < bitsPerSecond_ * interval_)
    refinementCost_ = std::max(refinementCost_ * kForget, kLeastRefinementShare);
  const bool refined = quantizer < coarseQuantizer_ - kLeastStep;
  const double expected = still ? 0 : expectedChange(change, quantizer);
  const double refinement = expectedRefinement(quantizer);
  if (still) {
    if (refinement > 0) follow(refinementCost_, bits / refinement, 0.7, 0.5);
    refinementCost_ = std::max(refinementCost_, kRefinementShare);
  } else if (expected > 0) {
    const double ratio = std::max(bits - refinement, bits / 4) / expected;
    if (isMovement(change) && refined) {
      follow(refinementCost_, bits / (expected + refinement), 0.7, 0);
    } else if (isMovement(change)) {
      follow(movedBits_, ratio, 0.5, 0.25);
    } else {
      // A small change says little about a page.
      const double weight = std::min(1.0, change.fresh / kTypicalFresh);
      follow(freshBits_, ratio, weight, 0.5 * weight);
      frameBits_ = (isPage_ ? frameBits_ : frameBits_ * (1 - change.fresh)) + bits / sizeAt(quantizer);
    }
  }
  refinementCost_ = std::min(refinementCost_, kLargestRefinementShare);
  if (refined) {
    coarseQuantizer_ = quantizer;
    coarseShare_ = std::max(coarseShare_, change.fresh);
  } else if (change.fresh >= coarseShare_) {
    coarseQuantizer_ = quantizer;
    coarseShare_ = change.fresh;
  } else {
    noteCoarse(quantizer, change.fresh);
  }
  if (!still) passes_ = kPasses;
  if (still && quantizer == finest_ && --passes_ > 0 && bits < keyFrameBits_ * kLittle) passes_ = 0;
  if (coarseQuantizer_ < finest_ + 0.5) {
    coarseShare_ = 0;
    coarseQuantizer_ = finest_;
  }
}

}  // namespace vantora
