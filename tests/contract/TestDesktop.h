// An implementation of the desktop session under test, and access to the desktop behind it.
#pragma once

#include <QPointF>
#include <QRect>
#include <cstdint>
#include <set>

#include "platform/DesktopSession.h"

namespace vantora {

class TestDesktop {
 public:
  virtual ~TestDesktop() = default;
  // On a desktop of one display, 1000 x 600 pixels, that nobody else uses. Its user has consented, if one is asked.
  virtual DesktopSession& session() = 0;

  // State of the desktop's input devices.
  virtual QPointF pointerPosition() = 0;
  virtual std::set<PointerButton> heldButtons() = 0;
  // Of KEY_A, KEY_B and KEY_ENTER.
  virtual std::set<std::uint16_t> heldKeys() = 0;

  // Replaces the display by two, wherever the first of them is: the first of 600 pixels width, the second right of it.
  virtual void split() = 0;
  // Removes the second display of a split desktop.
  virtual void removeSecond() = 0;
  // Fills an area of the desktop with a colour, 0xRRGGBB.
  virtual void paint(std::uint32_t rgb, const QRect& area) = 0;
  // A program shows the cursor with this name; an empty name: a cursor that has none.
  virtual void showCursor(const QString& name) = 0;
  // Whether the session may call the cursor with the name `shown` so, where one image has several names.
  virtual bool sameCursor(const QString& reported, const QString& shown) const { return reported == shown; }
  // The local user moves the pointer.
  virtual void movePointer() = 0;
  // Whether the place of a display that was removed can still be pointed at.
  virtual bool keepsPlacesOfDisplays() const { return true; }
  // Ends the desktop, and returns once the session can know it.
  virtual void lose() = 0;
};

}  // namespace vantora
