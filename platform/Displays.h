// The displays of the desktop.
#pragma once

#include <QRect>
#include <QRectF>
#include <QString>
#include <cstdint>
#include <optional>
#include <vector>

namespace vantora {

// One display (monitor). Geometry is in the desktop's global coordinate space, pixels, origin at
// the top left, y downward.
struct Display {
  std::uint32_t id = 0;  // The platform's display number; 0: the platform gives none.
  QString name = {};
  QRect bounds = {};
  // Clockwise turn from the picture's coordinates to the global ones: 0, 90, 180 or 270. 0 where both are those of the
  // screen as it is seen, however the monitor stands.
  double rotationDegrees = 0;
  // Frame in points where the platform tells points from pixels; none: the same as `bounds`.
  std::optional<QRectF> frameInPoints = std::nullopt;

  QRectF frame() const { return frameInPoints.value_or(QRectF(bounds)); }
  bool operator==(const Display&) const = default;
};

// Implemented by the platform; fakes in tests/fakes.
class Displays {
 public:
  virtual ~Displays() = default;
  // Displays in system order: the index into this list is the display index that a viewer names.
  // Empty when there is no display or the display server is gone. Always the current state;
  // cheap enough for every pointer move. Main thread.
  virtual std::vector<Display> list() = 0;
};

}  // namespace vantora
