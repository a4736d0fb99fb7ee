// The accessibility service of Linux desktops, AT-SPI 2.
#pragma once

#include <memory>

#include "base/Environment.h"
#include "platform/Accessibility.h"
#include "platform/WindowFinder.h"

namespace vantora {

// Every call to the service and to applications is made on a separate thread, "accessibility", which is started by the
// first call of trust(); reading elements takes at most a quarter of a second. The environment is read during this
// call; `windows` is used by that thread only. Destroying the object waits for a running call.
std::unique_ptr<Accessibility> makeAtSpiAccessibility(const Environment& environment,
                                                      std::unique_ptr<WindowFinder> windows);

}  // namespace vantora
