#include "main/telemetry/system/MachineStatistics.h"

#include "main/telemetry/system/SystemFigures.h"
#include "main/telemetry/system/linux/LinuxFigures.h"

namespace vantora {

TaskStarter machineStatistics(WorkerThreads& thread) {
  // Used by the one thread only, one collection after another.
  return [&thread, figures = std::make_shared<LinuxFigures>(LinuxFigures::Sources::ofThisMachine())](TaskDone done) {
    return thread.start([figures](const std::stop_token& stop) { return toJson(figures->collect(stop)); },
                        std::move(done));
  };
}

}  // namespace vantora
