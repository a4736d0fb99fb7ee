// The desktop of an X server.
#pragma once

#include <memory>

#include "base/Environment.h"
#include "platform/DesktopSession.h"

namespace vantora {

// Ready at once, whether the server `displayName` (such as ":0") answers yet or not: every ability says for itself what
// it can do at the moment. `clipboard` must outlive it.
std::unique_ptr<DesktopSession> makeX11Desktop(const Environment& environment, const QString& displayName,
                                               Clipboard& clipboard);

}  // namespace vantora
