#include "main/video/encoders/ThinLink.h"

namespace vantora {

void ThinLink::update(double bitsPerSecond, Time now) {
  const double rate = bitsPerSecond / pixels_;
  if (thin_ ? rate <= kWide : rate >= kThin) {
    against_.reset();
    return;
  }
  if (!against_) against_ = now;
  if (now - *against_ < (thin_ ? Time(kWideAfter) : Time(kThinAfter))) return;
  thin_ = !thin_;
  against_.reset();
}

}  // namespace vantora
