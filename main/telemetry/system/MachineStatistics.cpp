#include "main/telemetry/system/MachineStatistics.h"

#include "main/telemetry/system/SystemFigures.h"

#ifdef Q_OS_LINUX
#include "main/telemetry/system/linux/LinuxFigures.h"
#else
#include <unistd.h>

#include <QThread>
#include <chrono>

#include "main/telemetry/system/RunShell.h"
#include "main/telemetry/system/ToolFigures.h"
#endif

namespace vantora {
namespace {

#ifdef Q_OS_LINUX

class Machine {
 public:
  SystemFigures collect(const std::stop_token& stop) { return figures_.collect(stop); }

 private:
  LinuxFigures figures_{LinuxFigures::Sources::ofThisMachine()};
};

#else

class Machine {
 public:
  SystemFigures collect(const std::stop_token& stop) {
    stop_ = stop;
    return figures_.collect();
  }

 private:
  std::stop_token stop_;
  ToolFigures figures_{
      {.runShell = [this](const QString& commandLine) { return runShell(commandLine, stop_); },
       .nowSeconds =
           [] { return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count(); },
       .processors = QThread::idealThreadCount(),
       .memoryBytes = static_cast<quint64>(sysconf(_SC_PHYS_PAGES)) * static_cast<quint64>(sysconf(_SC_PAGESIZE)),
       .runningApplication = {}}};
};

#endif

}  // namespace

StartJob machineStatistics(WorkerThreads& thread) {
  // Used by the one thread only, one collection after another.
  return [&thread, machine = std::make_shared<Machine>()](JobDone done) {
    return thread.start([machine](const std::stop_token& stop) { return toJson(machine->collect(stop)); },
                        std::move(done));
  };
}

}  // namespace vantora
