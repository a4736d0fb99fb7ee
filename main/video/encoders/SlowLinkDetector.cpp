#include "main/video/encoders/SlowLinkDetector.h"

namespace vantora {

void SlowLinkDetector::update(double bitsPerSecond, Time now) {
  const double rate = bitsPerSecond / pixels_;
  if (slow_ ? rate <= kFastAbove : rate >= kSlowBelow) {
    contradictedSince_.reset();
    return;
  }
  if (!contradictedSince_) contradictedSince_ = now;
  if (now - *contradictedSince_ < (slow_ ? Time(kFastAfter) : Time(kSlowAfter))) return;
  slow_ = !slow_;
  contradictedSince_.reset();
}

}  // namespace vantora
