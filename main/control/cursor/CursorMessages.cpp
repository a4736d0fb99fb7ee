#include "main/control/cursor/CursorMessages.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

void bindCursorMessages(ControlDispatcher& dispatcher, CursorMonitor& cursor) {
  dispatcher.on("test_cursor"_L1, [&cursor](const ControlRequest& request) {
    return cursor.handleTestCursor(request.body) ? Handled::yes : Handled::ignored;
  });
  dispatcher.on("cursor_query"_L1, [&](const ControlRequest& request) {
    // Acknowledged after the shape, which may take a moment to determine.
    cursor.handleCursorQuery(dispatcher.acknowledgeLater(request));
    return Handled::later;
  });
}

}  // namespace vantora
