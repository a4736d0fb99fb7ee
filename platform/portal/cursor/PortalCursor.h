// The cursor of a Wayland desktop, from the reports of its streams.
#pragma once

#include <memory>

#include "base/Environment.h"
#include "platform/SystemCursor.h"
#include "platform/portal/StreamAccess.h"

namespace vantora {

// Compositors report the image of the cursor without its name: the name is found by comparison with the images of the
// desktop's cursor theme. These are read on a separate thread, when the first image is reported to somebody who
// watches; until then the cursor stays what it was. A pointer on a screen without a stream, and a hidden one, keeps its
// cursor; an invisible image is a bitmap of one transparent pixel. Only movements count as use of the pointer: streams
// report no buttons. Thread: main.
class PortalCursor : public SystemCursor {
 public:
  // Every report of every stream, in order, whether or not anybody watches. May call the handlers.
  virtual void report(const StreamCursor& cursor) = 0;
  // No stream is open any more: the cursor is unknown. Calls no handler.
  virtual void streamsClosed() = 0;
  // The desktop's cursor theme and size in layout units, which it names while it runs; empty and 0: unknown. Then
  // XCURSOR_THEME and XCURSOR_SIZE count.
  virtual void setTheme(const QString& name, int size) = 0;
};

std::unique_ptr<PortalCursor> makePortalCursor(const Environment& environment);

}  // namespace vantora
