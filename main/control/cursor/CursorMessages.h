// The viewer's questions about the pointer's shape.
#pragma once

#include "main/control/cursor/CursorMonitor.h"
#include "main/control/dispatch/ControlDispatcher.h"

namespace vantora {

// Installs the handlers of "cursor_query" and "test_cursor". `cursor` must outlive `dispatcher`, and run no more after
// it: "cursor_query" is acknowledged when the shape is known. Main thread.
void bindCursorMessages(ControlDispatcher& dispatcher, CursorMonitor& cursor);

}  // namespace vantora
