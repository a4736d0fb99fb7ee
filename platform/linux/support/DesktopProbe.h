// Looks at the desktop that this process runs on.
#pragma once

#include <QProcessEnvironment>

#include "platform/linux/support/DesktopFacts.h"

namespace vantora {

// The facts as they are now. `environment` is that of the session. Blocks while it reads files; any thread.
DesktopFacts probeDesktop(const QProcessEnvironment& environment);

}  // namespace vantora
