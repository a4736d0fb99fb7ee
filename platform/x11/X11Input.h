// Input on an X server through its test extension.
#pragma once

#include <QString>
#include <memory>

#include "platform/DesktopInput.h"
#include "platform/Displays.h"

namespace vantora {

// Input on the X server `displayName` (empty: the DISPLAY variable), whose displays are `displays`; they must outlive
// it. The server need not run yet; after a loss the next call tries to connect again. requestPermission() calls its
// callback before it returns. Main thread.
//
// Pointer and wheel events need one write and no round trip, key events one round trip.
std::unique_ptr<DesktopInput> makeX11Input(const QString& displayName, Displays& displays);

}  // namespace vantora
