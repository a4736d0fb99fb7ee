// Screen capture on X11.
#pragma once

#include <memory>
#include <string>

#include "platform/ScreenCapture.h"

namespace vantora {

// A capture of one RandR monitor of the server `displayName` (empty: the default display), over a separate connection.
// Monitors count in RandR's order. The server reports changes (XDamage), so that a still screen costs nothing. The loss
// of the server is reported as a lost display.
std::unique_ptr<ScreenCapture> makeX11ScreenCapture(std::string displayName = {});

}  // namespace vantora
