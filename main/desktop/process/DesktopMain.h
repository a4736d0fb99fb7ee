// Entry point of the desktop process.
#pragma once

#include <optional>

#include "base/InfoDictionary.h"

namespace vantora {

// The descriptor of the line to the session, when this process was started by it as its desktop process. Takes it out
// of the environment, so that programs started from here do not see it.
std::optional<int> desktopLinkDescriptor();

// Shows the session behind `descriptor` on the desktop until the session ends. Without a display that answers, windows
// are left out and what goes over D-Bus works on; the process ends when the display is there again, to be started anew
// by the session. Returns the exit status. Call on the main thread, before any application object exists.
int runDesktopProcess(int descriptor, int& argumentCount, char** arguments);

}  // namespace vantora
