// Where a portal session takes input events.
#pragma once

#include <QPointF>
#include <cstdint>

namespace vantora {

enum class ScrollAxis { vertical, horizontal };

// Events take effect in the order of the calls, none of which waits. False: the event was dropped, since the other side
// does not respond or takes no such events. Releases are never dropped. Thread: main.
class InputEvents {
 public:
  virtual ~InputEvents() = default;
  // Drops presses, motions and scrolling that have not left yet.
  virtual void dropWaiting() = 0;
  // Moves the pointer to `position` on the screen of the stream `node`, in layout units from its top left corner, and
  // then by `rest`; a motion that has not left yet is replaced by the next one.
  virtual bool moveTo(std::uint32_t node, QPointF position, QPointF rest) = 0;
  virtual bool moveBy(QPointF distance) = 0;
  // `button` and `key`: the kernel's codes.
  virtual bool pressButton(int button) = 0;
  virtual void releaseButton(int button) = 0;
  virtual bool pressKey(int key) = 0;
  virtual void releaseKey(int key) = 0;
  // Whether the other side takes symbols.
  virtual bool takesSymbols() const = 0;
  // Types the symbol of XKB's numbering `keysym` in the layout that is in use; the desktop ignores one that it lacks.
  virtual bool tapSymbol(std::uint32_t keysym) = 0;
  // Whether so much waits for the desktop that a text had better wait too.
  virtual bool busy() const = 0;
  // Whether all keys and symbols have been passed to the desktop. Motions may wait: a pointer may never rest.
  virtual bool delivered() const = 0;
  // Whole notches of a wheel, and smooth scrolling with 10 units for a notch; down and right are positive.
  virtual bool scrollNotches(ScrollAxis axis, int notches) = 0;
  virtual bool scrollSmoothly(ScrollAxis axis, double units) = 0;
};

}  // namespace vantora
