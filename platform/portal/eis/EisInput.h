// Input events over a connection to the compositor itself, as newer portals offer it.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "base/process/FileDescriptor.h"
#include "platform/portal/InputEvents.h"
#include "platform/portal/StreamAccess.h"

namespace vantora {

// Whether this program was built with the library for such connections (libei).
bool eisAvailable();

struct EisCallbacks {
  // The compositor's devices take events now. Called once, from the event loop.
  std::function<void()> ready;
  // The compositor has ended the connection; may destroy the object. Called at most once, from the event loop.
  std::function<void()> ended;
};

// `socket`: from the portal. `streams`: those of its session. Null when eisAvailable() is false or the socket cannot be
// used. Events are dropped before the connection is ready, and while the compositor pauses the device.
std::unique_ptr<InputEvents> makeEisInput(FileDescriptor socket, std::vector<PortalStream> streams,
                                          EisCallbacks callbacks);

}  // namespace vantora
