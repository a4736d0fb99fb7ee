// The accessibility service of Linux desktops, AT-SPI 2.
#pragma once

#include <memory>

#include "base/Environment.h"
#include "platform/Accessibility.h"
#include "platform/linux/atspi/PointedWindow.h"

namespace vantora {

// Every call to the service and to applications happens on a thread of its own, "accessibility", which begins with the
// first question about trust; no call lasts longer than a quarter of a second. The environment is read here and now;
// `windows` is used by that thread only. Destroying the object waits for a call that is on its way.
std::unique_ptr<Accessibility> makeAtSpiAccessibility(const Environment& environment,
                                                      std::unique_ptr<atspi::WindowFinder> windows);

}  // namespace vantora
