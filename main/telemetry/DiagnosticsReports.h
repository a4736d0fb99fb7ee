// Diagnostics reports of this machine.
#pragma once

#include "base/WorkerThreads.h"

namespace vantora {

// Maximum number of reports made in parallel; each has collectors and commands of its own.
inline constexpr int kReportsAtOnce = 2;

// Makes a report on one of `threads`, which must outlive the result. Cancelling a report kills its commands.
[[nodiscard]] TaskStarter diagnosticsReports(WorkerThreads& threads);

}  // namespace vantora
