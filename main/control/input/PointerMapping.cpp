#include "main/control/input/PointerMapping.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vantora {
namespace {

// std::clamp would let NaN through.
double along(double length, double normalized) {
  const double position = length * normalized;
  return std::isnan(position) ? 0 : std::clamp(position, 0.0, std::max(length, 0.0));
}

std::int32_t wholePixels(double distance) {
  if (std::isnan(distance)) return 0;
  constexpr double kLow = std::numeric_limits<std::int32_t>::min();
  constexpr double kHigh = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(std::trunc(distance), kLow, kHigh));
}

}  // namespace

QPointF mapToFrame(const QRectF& frame, double nx, double ny, double rotationDegrees, bool topOrigin) {
  const double px = along(frame.width(), nx);
  const double py = along(frame.height(), ny);
  QPointF inside(px, py);
  switch (wholePixels(rotationDegrees)) {
    case 90:
      inside = {frame.width() - py, px};
      break;
    case 180:
      inside = {frame.width() - px, frame.height() - py};
      break;
    case 270:
      inside = {py, frame.height() - px};
      break;
    default:
      break;
  }
  const double y = topOrigin ? inside.y() : frame.height() - inside.y();
  return {frame.x() + inside.x(), frame.y() + y};
}

QPointF fractionOf(const QRectF& frame, const QPointF& point) {
  return {frame.width() > 0 ? (point.x() - frame.x()) / frame.width() : 0,
          frame.height() > 0 ? (point.y() - frame.y()) / frame.height() : 0};
}

PointerButton buttonFor(std::int64_t viewerButton) {
  switch (viewerButton) {
    case 1:
      return PointerButton::centre;
    case 2:
      return PointerButton::right;
    default:
      return PointerButton::left;
  }
}

ScrollEvent scrollFor(double deltaX, double deltaY) { return {wholePixels(-deltaY), wholePixels(deltaX)}; }

}  // namespace vantora
