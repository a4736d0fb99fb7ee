// Entry point of the desktop process.
#pragma once

#include <optional>

#include "base/InfoDictionary.h"

namespace vantora {

// The descriptor of the connection to the session; empty when this process was not started as a desktop process.
// Removes it from the environment, so that programs started from here do not see it.
std::optional<int> desktopLinkDescriptor();

// Shows the session behind `descriptor` on the desktop until the session ends. `folder` is that of the host's program.
// Without a display that responds, no windows are shown, but everything over D-Bus keeps working; the process ends when
// the display is back, so that the session restarts it. Returns the exit status. Call on the main thread, before any
// application object exists.
int runDesktopProcess(int descriptor, const QString& folder, int& argumentCount, char** arguments);

}  // namespace vantora
