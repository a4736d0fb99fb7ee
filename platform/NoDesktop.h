// The desktop of a machine that shows none: no displays, no input, no cursor, no accessibility service.
#pragma once

#include <memory>

#include "platform/DesktopSession.h"

namespace vantora {

// Refused from the beginning, for `reason`; input and capture refuse with the same. `clipboard` must outlive it.
std::unique_ptr<DesktopSession> makeNoDesktop(Clipboard& clipboard, QString reason);

}  // namespace vantora
