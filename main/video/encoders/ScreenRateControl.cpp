#include "main/video/encoders/ScreenRateControl.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vantora {
namespace {

// A stripe that the viewer does not have.
constexpr int kMissing = ScreenRateControl::kCoarsest + 1;

// A frame is left out while earlier ones need more than kMaxWaiting seconds to be sent. Exception: moving text with an
// encoder of short motion search is encoded once kNearby have passed, up to kMaxWaitingMoving seconds of waiting.
constexpr double kMaxWaiting = 0.06;
constexpr int64_t kNearbyUs = 80'000;
constexpr double kMaxWaitingMoving = 2.5;
// Text that scrolls may pause for this long.
constexpr int64_t kPauseUs = 80'000;
// After this time without a large change the next one may be a new page.
constexpr int64_t kNewPageAfterUs = 300'000;

// The link's time for a key frame, for a small change and, at most, for a step of refinement, in seconds.
constexpr double kKeySeconds = 0.3;
constexpr double kSmallSeconds = 0.08;
constexpr double kMaxRefinementSeconds = 0.2;
// The share of the link that motion and refinement use: the rest is for what an estimate errs by.
constexpr double kLinkShare = 0.9;

// Bits of a pixel on a page of dense text: in a key frame at the coarsest quantizer, and in the steps of refinement.
constexpr double kKeyBits = 0.7;
constexpr double kReadableBits = 1.2;
constexpr double kFineBits = 1.3;
constexpr double kFinestBits = 1.5;
// Bits of a pixel that changed, at the finest quantizer.
constexpr double kChangedBits = 4;
// A frame has half the bits when the quantizer is coarser by so many.
constexpr double kHalfBits = 15;

double bitsOfQuantizer(double finestBits, int quantizer) { return finestBits * std::exp2(-quantizer / kHalfBits); }

}  // namespace

ScreenRateControl::ScreenRateControl(int width, int height, int finest, bool shortSearch)
    : stripePixels_(static_cast<double>(width) * kStripe),
      finest_(finest),
      shortSearch_(shortSearch),
      shown_(static_cast<size_t>((height + kStripe - 1) / kStripe), kMissing) {
  forgetCosts();
}

void ScreenRateControl::setRate(double bitsPerSecond) {
  rate_ = std::max(bitsPerSecond, 1.0);
  queued_.setRate(rate_);
}

void ScreenRateControl::forgetCosts() {
  stages_ = {{kCoarsest, kKeyBits * stripePixels_},
             {kReadable, kReadableBits * stripePixels_},
             {kFine, kFineBits * stripePixels_},
             {finest_, kFinestBits * stripePixels_}};
}

void ScreenRateControl::noteChange(double share, int top, int bottom) {
  if (share <= 0) return;
  const int first = std::clamp(top / kStripe, 0, stripes() - 1);
  const int end = std::clamp((bottom + kStripe - 1) / kStripe, first + 1, stripes());
  firstChanged_ = share_ > 0 ? std::min(firstChanged_, first) : first;
  endChanged_ = share_ > 0 ? std::max(endChanged_, end) : end;
  share_ = std::min(1.0, share_ + share);
}

bool ScreenRateControl::isSharp() const {
  return share_ <= 0 && std::ranges::all_of(shown_, [this](int quantizer) { return quantizer <= finest_; });
}

std::optional<ScreenRateControl::Plan> ScreenRateControl::plan(std::int64_t nowUs, bool key) {
  const double waiting = queued_.seconds(nowUs);
  std::optional<Plan> next;
  if (key) {
    kind_ = Kind::key;
    const double stripe =
        kKeyBits * stripePixels_ * bitsOfQuantizer(1, pageQuantizer()) / bitsOfQuantizer(1, kCoarsest);
    next = Plan{pageQuantizer(), 0, std::clamp(static_cast<int>(kKeySeconds * rate_ / stripe), 1, stripes())};
  } else if (share_ >= kLargeChange) {
    next = planLarge(waiting, nowUs);
  } else if (waiting > kMaxWaiting) {
    return std::nullopt;
  } else if (share_ > 0) {
    kind_ = Kind::smallChange;
    next = planSmall(waiting);
  } else {
    next = planRefinement(waiting, nowUs);
  }
  if (share_ >= kLargeChange) largeUs_ = nowUs;
  if (!next) return next;
  interval_ = plannedUs_ ? static_cast<double>(nowUs - *plannedUs_) * 1e-6 : 1;
  plannedUs_ = nowUs;
  waitingThen_ = waiting;
  planned_ = *next;
  return next;
}

std::optional<ScreenRateControl::Plan> ScreenRateControl::planLarge(double waiting, std::int64_t nowUs) {
  if (waiting > kMaxWaiting) {
    // Text that has moved too far is not found by motion search and costs as much as a new page, which takes even
    // longer.
    const bool movesOn = shortSearch_ && plannedUs_ && nowUs - *plannedUs_ >= kNearbyUs;
    if (!movesOn || waiting > kMaxWaitingMoving) return std::nullopt;
  }
  const auto missing = static_cast<int>(std::ranges::count(shown_, kMissing));
  if (missing > 0) {
    // The rest of a page follows as the link has room for it, whether it moves or not.
    const double room = std::max(kKeySeconds / 2 - waiting, 0.0) * rate_ / stages_.front().stripeBits;
    kind_ = Kind::newPage;
    return Plan{pageQuantizer(), 0, stripes() - missing + std::min(missing, static_cast<int>(room))};
  }
  // Whether a page is new or only moved is known once it is encoded. If it moved, even the coarsest frame shows it as
  // fine as it was.
  const bool first = !largeUs_ || nowUs - *largeUs_ >= kNewPageAfterUs;
  kind_ = first ? Kind::newPage : Kind::motion;
  return Plan{first ? pageQuantizer() : static_cast<int>(std::lround(motionQuantizer_)), 0, stripes()};
}

ScreenRateControl::Plan ScreenRateControl::planSmall(double waiting) const {
  const double available = (kSmallSeconds - waiting) * rate_;
  const double changedPixels = share_ * stripePixels_ * stripes();
  for (size_t i = stages_.size(); i-- > 0;) {
    // The rest of these stripes becomes as fine as the change.
    double bits = bitsOfQuantizer(kChangedBits, stages_[i].quantizer) * changedPixels;
    for (int stripe = firstChanged_; stripe < endChanged_; ++stripe) {
      if (shown_[static_cast<size_t>(stripe)] > stages_[i].quantizer) bits += stages_[i].stripeBits;
    }
    if (bits <= available) return {stages_[i].quantizer, firstChanged_, endChanged_};
  }
  return {kCoarsest, firstChanged_, endChanged_};
}

std::optional<ScreenRateControl::Plan> ScreenRateControl::planRefinement(double waiting, std::int64_t nowUs) {
  if (largeUs_ && nowUs - *largeUs_ < kPauseUs) return std::nullopt;
  const double passed = plannedUs_ ? static_cast<double>(nowUs - *plannedUs_) * 1e-6 : kMaxRefinementSeconds;
  const double available = (std::min(passed, kMaxRefinementSeconds) * kLinkShare - waiting) * rate_;
  // The finest step that is affordable for all stripes at once; otherwise the first one that is not complete.
  std::optional<size_t> chosen;
  for (size_t i = 0; i < stages_.size(); ++i) {
    const auto left = std::ranges::count_if(shown_, [&](int shown) { return shown > stages_[i].quantizer; });
    if (left > 0 && (!chosen || static_cast<double>(left) * stages_[i].stripeBits <= available)) chosen = i;
  }
  if (!chosen) return std::nullopt;
  kind_ = Kind::refinement;
  stage_ = *chosen;
  const Stage& stage = stages_[stage_];
  const int most = std::max(1, static_cast<int>(available / stage.stripeBits));
  const auto begin = std::ranges::find_if(shown_, [&](int shown) { return shown > stage.quantizer; });
  const auto end = std::find_if(begin, begin + std::min<std::ptrdiff_t>(most, shown_.end() - begin),
                                [&](int shown) { return shown <= stage.quantizer; });
  return Plan{stage.quantizer, static_cast<int>(begin - shown_.begin()), static_cast<int>(end - shown_.begin())};
}

// The quantizer of a page that is new to the viewer.
int ScreenRateControl::pageQuantizer() const {
  const double finer = kHalfBits * std::log2(kKeySeconds * rate_ / (kKeyBits * stripePixels_ * stripes()));
  return std::clamp(kCoarsest - static_cast<int>(std::max(finer, 0.0)), finest_, kCoarsest);
}

void ScreenRateControl::encoded(double bits) {
  queued_.add(bits);
  // While a page is on its way, changes further down wait for their turn.
  for (int stripe = share_ > 0 ? firstChanged_ : endChanged_; stripe < endChanged_; ++stripe) {
    shown_[static_cast<size_t>(stripe)] = kMissing;
  }
  for (int stripe = planned_.first; stripe < planned_.end; ++stripe)
    shown_[static_cast<size_t>(stripe)] = planned_.quantizer;
  if (kind_ == Kind::key) {
    for (int stripe = planned_.end; stripe < stripes(); ++stripe) shown_[static_cast<size_t>(stripe)] = kMissing;
    forgetCosts();
  }
  if (kind_ == Kind::newPage) {
    forgetCosts();
    // Motion begins coarse: one frame that is too large delays all that follow.
    motionQuantizer_ = planned_.quantizer;
    motionLoad_ = 1;
  }
  if (kind_ == Kind::motion) learnMotion(bits);
  if (kind_ == Kind::refinement) learnStage(bits);
  share_ = 0;
}

void ScreenRateControl::learnMotion(double bits) {
  constexpr double kShortest = 1.0 / 120;
  constexpr double kLongest = 0.1;
  constexpr double kSmoothing = 0.25;
  constexpr double kStep = 2;  // Quantizer steps for twice the bits.
  constexpr double kFinerAtMost = 3;
  constexpr double kCoarserAtMost = 4;
  constexpr double kSpike = 3;  // A frame of so many times its bits is answered at once.
  constexpr double kGoodWaiting = 0.03;
  const double load = bits / (std::clamp(interval_, kShortest, kLongest) * kLinkShare * rate_);
  motionLoad_ += kSmoothing * (load - motionLoad_);
  double change = kStep * (std::log2(std::max(motionLoad_, 0.01)) + (waitingThen_ - kGoodWaiting) * 10);
  change = std::clamp(change, -kFinerAtMost, kCoarserAtMost);
  if (load > kSpike) change += kCoarserAtMost * std::log2(load / kSpike);
  motionQuantizer_ = std::clamp(motionQuantizer_ + change, static_cast<double>(finest_), double{kCoarsest});
}

void ScreenRateControl::learnStage(double bits) {
  constexpr double kWeight = 0.7;
  constexpr double kLeast = 0.02;  // Bits of a pixel.
  double& stripeBits = stages_[stage_].stripeBits;
  stripeBits += kWeight * (bits / (planned_.end - planned_.first) - stripeBits);
  stripeBits = std::max(stripeBits, kLeast * stripePixels_);
}

}  // namespace vantora
