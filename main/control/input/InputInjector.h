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

#include "base/Scheduler.h"
#include "base/ThreadAffinity.h"
#include "main/control/input/KeyQueue.h"
#include "platform/DesktopInput.h"
#include "platform/Displays.h"

namespace vantora {

// Maps positions normalised to the shared image onto one target display and posts the events at once, in the order of
// the calls; keys wait while a text is being typed. Rights are checked by the caller. Any numbers are safe. Main
// thread; owned by the session; all that its constructor gets must outlive it.
class InputInjector {
 public:
  InputInjector(Displays& displays, DesktopInput& input, Scheduler& scheduler);

  // True: positions refer to the target's current frame in points; false: to its bounds in the global display space,
  // as they were when it was chosen. Either way the pointer stays on the target.
  void setMappingMode(bool usePoints);
  // True: y grows downward from the target's top; false: upward from its bottom.
  void setOrigin(bool topOrigin);
  // Targets the display with this index; the first one when there is no such index.
  void setTargetScreen(std::int64_t index);
  // The desktop has other displays: chooses the target again when there was none before, or when its scale, which a
  // desktop may learn late, is another one.
  void displaysChanged();

  // Asks whether the process may post input events; logs a refusal, with the reason if known. `answer` is called once:
  // within this call when no prompt is needed, else when the local user has answered the prompt.
  void ensureAccessibility(std::function<void(bool permitted)> answer);

  // Global display coordinates of a normalised position; see mapToFrame for its range. Does not move the pointer.
  QPointF toPoint(double nx, double ny);

  // Pointer messages; `button` is the viewer's number: 0 left, 1 middle, 2 right, other left. Nothing is pressed when
  // the pointer could not be moved to the position.
  void move(double nx, double ny);
  void click(double nx, double ny, std::int64_t button);
  void mouseDown(double nx, double ny, std::int64_t button);
  void mouseUp(double nx, double ny, std::int64_t button);
  // Two clicks at once.
  void doubleClick(double nx, double ny, std::int64_t button);
  // Scrolls by pixels as a viewer counts them: positive is down and right.
  void wheel(double deltaX, double deltaY);

  // The virtual key code of a key name, see KeyCodes.h; nullopt for an unknown name. Not used for injecting keys.
  static std::optional<std::uint16_t> keyCode(const QString& name);
  // Presses or releases the key `code`; an unknown name does nothing. `mods`: "shift", "ctrl", "alt", "meta" and
  // "altgr" count when true, other names are ignored.
  void key(const QString& code, bool down, const QMap<QString, bool>& mods);
  // Presses and releases the key `code`, which may also be one of furtherKeys().
  void pressKey(const QString& code, const QMap<QString, bool>& mods);
  // Types a text, see KeyQueue.
  void type(const QString& text, KeyQueue::Answer answer);

  // Releases all keys and buttons that the viewer still holds and ends its texts, when its control ends.
  void releaseAll();

 private:
  // A rectangle to map onto, and its display.
  struct Target {
    QRectF frame = {};
    std::uint32_t displayId = 0;
    // The display's rectangle now, in the coordinates of `frame`; the last known one when the display is gone.
    QRectF current = {};
  };
  Target mappingTarget();
  // Whether the pointer is there now.
  bool moveTo(double nx, double ny);

  ThreadAffinity affinity_;
  Displays& displays_;
  DesktopInput& input_;
  KeyQueue keys_;

  bool usePoints_ = true;
  bool topOrigin_ = true;
  std::optional<Display> target_;
  std::optional<std::int64_t> targetIndex_;  // The index that was set last.
  double rotationDegrees_ = 0;
  std::optional<QRectF> fallbackFrame_;
};

}  // namespace vantora
