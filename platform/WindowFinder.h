// The window under the pointer, from the window system.
#pragma once

#include <sys/types.h>

#include <QPointF>
#include <QRectF>
#include <chrono>
#include <optional>
#include <string>

namespace vantora {

struct PointedWindow {
  QPointF pointer = {};   // All geometry in desktop pixels.
  pid_t process = 0;      // The application's; 0: unknown.
  QRectF client = {};     // The area that the application draws.
  QRectF frame = {};      // The visible window: with its decoration, without a shadow.
  bool resizable = true;  // False for windows without edges to drag: menus, tooltips, panels.
};

// Finds the window under the pointer. Used by one thread.
class WindowFinder {
 public:
  using Deadline = std::chrono::steady_clock::time_point;

  virtual ~WindowFinder() = default;
  // Empty when the pointer is over no window or the window system does not reply until `deadline`.
  virtual std::optional<PointedWindow> pointedWindow(Deadline deadline) = 0;
  // Address of the accessibility bus as given by the window system; empty when it gives none.
  virtual std::string busAddress(Deadline deadline) = 0;
};

}  // namespace vantora
