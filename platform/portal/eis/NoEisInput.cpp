// For systems without libei.
#include "platform/portal/eis/EisInput.h"

namespace vantora {

bool eisAvailable() { return false; }

// NOLINTNEXTLINE(performance-unnecessary-value-param): the parameters are those of the other implementation.
std::unique_ptr<InputEvents> makeEisInput(FileDescriptor, std::vector<PortalStream>, EisCallbacks) { return nullptr; }

}  // namespace vantora
