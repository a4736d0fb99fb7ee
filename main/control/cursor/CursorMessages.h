// The viewer's messages about the pointer's shape.
#pragma once

#include "main/control/cursor/CursorMonitor.h"
#include "main/control/dispatch/ControlDispatcher.h"

namespace vantora {

// Installs the handlers of "cursor_query" and "test_cursor". `cursor` must outlive `dispatcher`, and must not run after
// its end: "cursor_query" is acknowledged later, when the shape is known. Main thread.
void bindCursorMessages(ControlDispatcher& dispatcher, CursorMonitor& cursor);

}  // namespace vantora
