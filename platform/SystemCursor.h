// The cursor that the desktop shows, and its changes.
#pragma once

#include <QString>
#include <functional>
#include <optional>

namespace vantora {

// Thread: main. Owner: the composition root. No call waits for the desktop, except for opening the connection to it.
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
  // Name of the current cursor in its theme or in CSS ("xterm", "ew-resize"); an empty text for a cursor without a
  // name; nullopt without a desktop, and while nobody watches.
  virtual std::optional<QString> currentCursor() = 0;
};

}  // namespace vantora
