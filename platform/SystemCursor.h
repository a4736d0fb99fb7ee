// The cursor that the desktop shows, and its changes.
#pragma once

#include <QPoint>
#include <QSize>
#include <QString>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace vantora {

// The image of a cursor.
struct CursorBitmap {
  QSize size;
  QPoint hotSpot;                     // The pixel that points, from the top left corner.
  std::vector<std::uint32_t> pixels;  // Rows from the top, 0xAARRGGBB with premultiplied alpha.
  bool operator==(const CursorBitmap&) const = default;
};

struct ShownCursor {
  // Its name in the theme or in CSS ("xterm", "ew-resize"); empty for a cursor without a name.
  QString name;
  // Only of a cursor without a name, of at most 256 x 256 pixels.
  std::optional<CursorBitmap> bitmap = std::nullopt;
  bool operator==(const ShownCursor&) const = default;
};

// Thread: main. Owner: the desktop session. No call waits for the desktop, except for opening the connection to it.
// There is no cursor while the desktop is gone; the next call after its return finds the new one.
class SystemCursor {
 public:
  struct Handlers {
    // The cursor may have changed. Called without polling where the desktop reports changes.
    std::function<void()> cursorChanged;
    // The pointer has moved or a button was pressed. Called once for every armPointerEvent().
    std::function<void()> pointerUsed;
  };

  virtual ~SystemCursor() = default;
  // Starts calling the handlers, `pointerUsed` only when armed. Replaces earlier handlers.
  virtual void watch(Handlers handlers) = 0;
  // Ends watch(); from then on no request is sent to the desktop. May be called from a handler.
  virtual void unwatch() = 0;
  // Requests one pointer event; no effect when one is pending or nobody watches.
  virtual void armPointerEvent() = 0;
  // nullopt without a desktop, and while nobody watches.
  virtual std::optional<ShownCursor> currentCursor() = 0;
};

}  // namespace vantora
