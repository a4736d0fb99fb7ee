#include "main/video/encoders/EncoderLoad.h"

#include <algorithm>
#include <cmath>

namespace vantora {
namespace {

// Frames that come further apart than this are single changes.
constexpr double kPause = 0.2;
constexpr double kSmoothing = 0.2;
// One of every n frames is encoded: n grows when the cost is above the border by kAbove of the frames' interval, and
// shrinks when it is below by kBelow, so that it is steady.
constexpr double kAbove = 0.05;
constexpr double kBelow = 0.15;
constexpr int kMaxEvery = 60;

}  // namespace

EncoderLoad::EncoderLoad(int cores) : allowed_(kShare * std::max(cores, 1)) {}

bool EncoderLoad::isDue(std::int64_t nowUs) {
  if (cameUs_) {
    const double passed = static_cast<double>(nowUs - *cameUs_) * 1e-6;
    spent_ = std::max(0.0, spent_ - passed * allowed_);
    if (passed >= kPause) {
      limited_ = false;
      step_ = 0;
    } else {
      step_ += step_ > 0 ? kSmoothing * (passed - step_) : passed;
    }
  }
  cameUs_ = nowUs;
  ++came_;
  if (spent_ > kFreeSeconds) limited_ = true;
  if (!limited_) every_ = 1;
  if (!limited_ || !encodedUs_) return true;
  const double interval = cost_ / allowed_;
  if (step_ > 0) {
    const double wanted = interval / step_;
    if (wanted > every_ + kAbove || wanted < every_ - 1 - kBelow)
      every_ = static_cast<int>(std::clamp(std::ceil(wanted - kAbove), 1.0, double{kMaxEvery}));
  }
  return came_ >= every_ || static_cast<double>(nowUs - *encodedUs_) * 1e-6 >= interval;
}

void EncoderLoad::encoded(std::int64_t nowUs, double cpuSeconds, bool key) {
  encodedUs_ = nowUs;
  came_ = 0;
  spent_ = std::min(spent_ + cpuSeconds, 2 * kFreeSeconds);
  if (key) return;
  cost_ += cost_ > 0 ? kSmoothing * (cpuSeconds - cost_) : cpuSeconds;
}

}  // namespace vantora
