// Capture of a screen that arrives as a PipeWire stream.
#pragma once

#include <memory>

#include "platform/ScreenCapture.h"
#include "platform/portal/StreamAccess.h"

namespace vantora {

// Whether the PipeWire library of this machine can be loaded. Any thread.
bool pipeWireAvailable();

// A closed capture of the streams that `access` grants. Without the PipeWire library, opening it is refused.
std::unique_ptr<ScreenCapture> makePipeWireScreenCapture(std::shared_ptr<StreamAccess> access);

}  // namespace vantora
