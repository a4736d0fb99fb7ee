// The desktop session of a machine without a desktop: no displays, no input, no cursor, no accessibility service.
#pragma once

#include <memory>

#include "platform/DesktopSession.h"

namespace vantora {

// Its status is refused with `reason`, and so is opening the capture. `clipboard` must outlive it.
std::unique_ptr<DesktopSession> makeNoDesktop(Clipboard& clipboard, QString reason);

}  // namespace vantora
