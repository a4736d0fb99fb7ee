#include "main/telemetry/DiagnosticsReports.h"

#include "Diagnostics/Diagnostics.h"

namespace vantora {

TaskStarter diagnosticsReports(WorkerThreads& threads) {
  return [&threads](TaskDone done) {
    return threads.start(
        [](const std::stop_token& stop) {
          Diagnostics::Options options;
          options.stop = stop;
          return Diagnostics::run(options);
        },
        std::move(done));
  };
}

}  // namespace vantora
