#include "main/video/quality/QualityPresets.h"

#include <algorithm>
#include <cmath>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr double kBitsPerPixel = 0.1;
constexpr int kNativeFps = 60;

int even(int value) { return value - value % 2; }

int kbpsFor(qint64 width, qint64 height, int fps, int lowest) {
  const double kbps = static_cast<double>(width * height) * fps * kBitsPerPixel / 1000;
  return static_cast<int>(std::clamp(std::trunc(kbps), static_cast<double>(lowest), 40000.0));
}

}  // namespace

VideoTarget presetTarget(const QString& name) {
  if (name == "low"_L1) return {960, 540, 30, 1200};
  if (name == "low_stable"_L1) return {1280, 720, 15, 1000};
  if (name == "gaming"_L1) return {1920, 1080, 60, 15000};
  if (name == "high"_L1) return {1920, 1080, 60, 6000};
  if (name == "ultra"_L1) return {2560, 1440, 60, 12000};
  if (name == "max"_L1) return {3840, 2160, 60, 20000};
  return {1280, 720, 30, 3000};
}

QString pickAutoPreset(std::optional<int> firstDisplayHeight) {
  if (!firstDisplayHeight) return u"high"_s;
  if (*firstDisplayHeight >= 2160) return u"max"_s;
  if (*firstDisplayHeight >= 1440) return u"ultra"_s;
  if (*firstDisplayHeight >= 1080) return u"high"_s;
  if (*firstDisplayHeight >= 720) return u"medium"_s;
  return u"low"_s;
}

VideoTarget nativeTarget(QSize display) {
  VideoTarget target{even(display.width()), even(display.height()), kNativeFps, 0};
  if (target.width > 3840 || target.height >= 2161) {
    const double aspect = static_cast<double>(display.width()) / std::max(display.height(), 1);
    target.height = 2160;
    target.width = even(static_cast<int>(std::round(aspect * 2160)));
  }
  target.kbps = kbpsFor(target.width, target.height, kNativeFps, 6000);
  return target;
}

int widthForDisplay(QSize display, int height) {
  const double width = std::round(static_cast<double>(display.width()) / display.height() * height);
  return std::max(static_cast<int>(std::floor(width / 16) * 16), 16);
}

int derivedKbps(int width, int height, int fps) { return kbpsFor(width, height, fps, 2000); }

}  // namespace vantora
