// The cursor of an X server.
#pragma once

#include <QString>
#include <memory>

#include "platform/SystemCursor.h"

namespace vantora {

// A connection of its own, opened when somebody begins to watch. Changes of the cursor and uses of the pointer come as
// events of the XFixes and XInput extensions; a server without one of them gives no notices of that kind.
// `displayName`: such as ":0". Needs the Qt event loop of the main thread.
std::unique_ptr<SystemCursor> makeX11Cursor(const QString& displayName);

}  // namespace vantora
