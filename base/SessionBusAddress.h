// Where the message bus of the user's session is.
#pragma once

#include <QString>

#include "base/Environment.h"

namespace vantora {

// DBUS_SESSION_BUS_ADDRESS, else the socket "bus" in XDG_RUNTIME_DIR if there is one, else an empty text. Any thread.
QString sessionBusAddress(const Environment& environment);

}  // namespace vantora
