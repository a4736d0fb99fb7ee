// Work that goes on away from the main thread.
#pragma once

#include <functional>
#include <memory>

#include "base/Json.h"

namespace vantora {

// Work under way. Destroying it gives the work up: it is told to stop and its result is thrown away.
// Main thread.
class BackgroundTask {
 public:
  virtual ~BackgroundTask() = default;
};

// Gets the result of a job, on the main thread, once; it may destroy its own job.
using TaskDone = std::function<void(const JsonObject& result)>;
// Starts one kind of work and returns at once; `done` is called later, never once the job is destroyed.
using TaskStarter = std::function<std::unique_ptr<BackgroundTask>(TaskDone done)>;

}  // namespace vantora
