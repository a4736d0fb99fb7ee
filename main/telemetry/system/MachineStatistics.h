// Statistics of the machine this runs on.
#pragma once

#include "base/WorkerThreads.h"

namespace vantora {

// Collects the "sys" object on `thread`, which must have one thread only and outlive the result.
[[nodiscard]] TaskStarter machineStatistics(WorkerThreads& thread);

}  // namespace vantora
