// The displays of the desktop.
#pragma once

#include <QRect>
#include <QRectF>
#include <QString>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace vantora {

// One display (monitor). Geometry is in the desktop's global coordinate space: pixels, origin at the top left, y
// downward.
struct Display {
  // The platform's display number, stable while the display exists; 0: the platform has no numbers, and one display.
  std::uint32_t id = 0;
  QString name = {};
  QRect bounds = {};
  // Clockwise rotation from frame coordinates to global ones: 0, 90, 180 or 270. 0 where both already include the
  // rotation of the monitor.
  double rotationDegrees = 0;
  // Frame in points where the platform distinguishes points from pixels; empty: the same as `bounds`.
  std::optional<QRectF> frameInPoints = std::nullopt;
  // Pixels of the captured frame for each layout unit of applications.
  double scale = 1;

  QRectF frame() const { return frameInPoints.value_or(QRectF(bounds)); }
  bool operator==(const Display&) const = default;
};

// Thread: main. Owner: the desktop session.
class Displays {
 public:
  virtual ~Displays() = default;
  // Displays in system order: the index into this list is the display index that a viewer names. Empty when there is no
  // display or the display server is gone. Always the current state; cheap enough for every pointer move.
  virtual std::vector<Display> list() = 0;
  // The display with this id as it is now; one that was removed, as list() or find() saw it last. Empty when neither
  // ever saw one.
  virtual std::optional<Display> find(std::uint32_t id) = 0;
  // Called from the main thread's event loop when list() has changed; an empty handler unsubscribes.
  virtual void setChangedHandler(std::function<void()> handler) = 0;
};

}  // namespace vantora
