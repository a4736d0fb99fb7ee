// The cursor that the desktop shows, as it changes.
#pragma once

#include <QString>
#include <functional>
#include <optional>

namespace vantora {

// Thread: main. Owner: the composition root. No call waits for the desktop, except for opening the connection to it. A
// desktop that goes away leaves no cursor; the next call after its return finds the new one.
class SystemCursor {
 public:
  struct Notices {
    // The cursor may be another one than before. Comes by itself where the desktop tells of changes.
    std::function<void()> cursorChanged;
    // The pointer has moved or a button went down. Comes once for every armPointerNotice().
    std::function<void()> pointerUsed;
  };

  virtual ~SystemCursor() = default;
  // From now on the notices come, the pointer's when armed. Replaces earlier notices.
  virtual void watch(Notices notices) = 0;
  // Ends what watch() began; from then on nothing is asked of the desktop. May be called from a notice.
  virtual void unwatch() = 0;
  // Asks for the one next pointer notice; does nothing when one is outstanding or nobody watches.
  virtual void armPointerNotice() = 0;
  // Name of the cursor shown, as its theme or the web calls it ("xterm", "ew-resize"); empty for a cursor without a
  // name; none without a desktop, and while nobody watches.
  virtual std::optional<QString> currentCursor() = 0;
};

}  // namespace vantora
