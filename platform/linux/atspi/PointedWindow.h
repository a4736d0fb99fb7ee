// The window under the pointer, as the window system sees it.
#pragma once

#include <sys/types.h>

#include <QPointF>
#include <QRectF>
#include <functional>
#include <optional>
#include <string>

#include "platform/linux/atspi/DBusCaller.h"

namespace vantora::atspi {

struct PointedWindow {
  QPointF pointer = {};   // All in pixels of the desktop.
  pid_t process = 0;      // Of the application; 0: unknown.
  QRectF client = {};     // What the application draws.
  QRectF frame = {};      // What the person sees as the window: with its decoration, without a shadow.
  bool resizable = true;  // False for what a window manager gives no edges: menus, tips, panels.
};

// The window system's part in looking up an element. Used by one thread.
class WindowFinder {
 public:
  virtual ~WindowFinder() = default;
  // None when the pointer is over no window or the window system does not answer until `deadline`.
  virtual std::optional<PointedWindow> pointedWindow(Deadline deadline) = 0;
  // Address of the accessibility bus as told by the window system; empty when it tells none.
  virtual std::string busAddress(Deadline deadline) = 0;
};

}  // namespace vantora::atspi
