// Diagnostics reports of this machine.
#pragma once

#include "base/WorkerThreads.h"

namespace vantora {

// Reports at work side by side; each has collectors and commands of its own.
inline constexpr int kReportsAtOnce = 2;

// Makes a report on one of `threads`, which must outlive the result. A report that is given up kills its commands.
[[nodiscard]] TaskStarter diagnosticsReports(WorkerThreads& threads);

}  // namespace vantora
