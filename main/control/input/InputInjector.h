// Turns a viewer's pointer and keyboard messages into input on the host's desktop.
#pragma once

#include <QMap>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "base/ThreadAffinity.h"
#include "platform/DesktopInput.h"
#include "platform/Displays.h"

namespace vantora {

// Maps positions that are normalised to the shared picture onto one target display and posts the
// events at once, in the order of the calls. Rights are tested by the caller. Any numbers are
// safe. Main thread; owned by the session, outlived by `displays` and `input`.
class InputInjector {
 public:
  InputInjector(Displays& displays, DesktopInput& input);

  // True: positions refer to the target's frame in points; false: to its bounds in the global
  // display space, as they were when it was chosen.
  void setMappingMode(bool usePoints);
  // True: y grows downward from the target's top; false: upward from its bottom.
  void setOrigin(bool topOrigin);
  // Targets the display with this index; the first one when there is no such index.
  void setTargetScreen(std::int64_t index);

  // Asks whether the process may post input events; says in the log when it may not, and why if that is known. `answer`
  // comes once: within this call where nobody has to be asked, else whenever the person at the desktop has answered.
  void ensureAccessibility(std::function<void(bool permitted)> answer);

  // Global display coordinates of a normalised position; see mapToFrame for its range. For who wants
  // to know the place without going there.
  QPointF toPoint(double nx, double ny);

  // Pointer messages; `button` is the viewer's number: 0 left, 1 middle, 2 right, other left.
  void move(double nx, double ny);
  void click(double nx, double ny, std::int64_t button);
  void mouseDown(double nx, double ny, std::int64_t button);
  void mouseUp(double nx, double ny, std::int64_t button);
  // Two clicks at once.
  void doubleClick(double nx, double ny, std::int64_t button);
  // Scrolls by pixels as a viewer counts them: positive is down and right.
  void wheel(double deltaX, double deltaY);

  // The virtual key code of a key name, see KeyCodes.h: which names count. Desktops go by the name itself.
  static std::optional<std::uint16_t> keyCode(const QString& name);
  // Presses or releases the key `code`; an unknown name does nothing. `mods`: "shift", "ctrl",
  // "alt" and "meta" count when true, other names do not.
  void key(const QString& code, bool down, const QMap<QString, bool>& mods);

  // Lets go of everything that the viewer still holds; for the end of its control.
  void releaseAll();

 private:
  // A rectangle to map onto, and the display that it is.
  struct Target {
    QRectF frame = {};
    std::uint32_t displayId = 0;
  };
  Target currentTarget(const std::vector<Display>& displays) const;
  Target mappingTarget();
  void moveTo(double nx, double ny);

  ThreadAffinity affinity_;
  Displays& displays_;
  DesktopInput& input_;

  bool usePoints_ = true;
  bool topOrigin_ = true;
  std::optional<Display> target_;
  double rotationDegrees_ = 0;
  std::optional<QRectF> fallbackFrame_;
};

}  // namespace vantora
