// The cursor of an X server.
#pragma once

#include <QString>
#include <memory>

#include "platform/SystemCursor.h"

namespace vantora {

// Uses a separate connection, opened by watch(). Changes of the cursor and uses of the pointer are reported by the
// XFixes and XInput extensions; without one of them its handler is not called. `displayName`: such as ":0". Needs the
// Qt event loop of the main thread.
std::unique_ptr<SystemCursor> makeX11Cursor(const QString& displayName);

}  // namespace vantora
