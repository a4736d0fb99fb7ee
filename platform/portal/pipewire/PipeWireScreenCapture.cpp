#include "platform/portal/pipewire/PipeWireScreenCapture.h"

#include "platform/NoDesktop.h"

namespace vantora {

bool pipeWireAvailable() { return false; }

std::unique_ptr<ScreenCapture> makePipeWireScreenCapture(std::shared_ptr<StreamAccess>) {
  return makeNoScreenCapture(QStringLiteral("PipeWire is not installed"));
}

}  // namespace vantora
