// The displays of the desktop.
#pragma once

#include <QRect>
#include <QString>
#include <cstdint>
#include <vector>

namespace vantora {

// One display (monitor). Geometry is in the desktop's global coordinate space, pixels, origin at
// the top left, y downward.
struct Display {
  std::uint32_t id = 0;  // The platform's display number.
  QString name;
  QRect bounds;
  double rotationDegrees = 0;  // Clockwise: 0, 90, 180 or 270.
  bool operator==(const Display&) const = default;
};

// Implemented by the platform; fakes in tests/fakes.
class Displays {
 public:
  virtual ~Displays() = default;
  // Displays in system order: the index into this list is the display index that a viewer names.
  // Empty when there is no display or the display server is gone. Asked anew at every call.
  // Main thread.
  virtual std::vector<Display> list() = 0;
};

}  // namespace vantora
