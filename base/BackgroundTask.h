// Work that runs outside the main thread.
#pragma once

#include <functional>
#include <memory>

#include "base/Json.h"

namespace vantora {

// A running task. Destroying it cancels the work: the task is asked to stop and its result is discarded. Main thread.
class BackgroundTask {
 public:
  virtual ~BackgroundTask() = default;
};

// Called with the result of a task, on the main thread, once; it may destroy its own task.
using TaskDone = std::function<void(const JsonObject& result)>;
// Starts one kind of work and returns at once; `done` is called later, never after the task is destroyed.
using TaskStarter = std::function<std::unique_ptr<BackgroundTask>(TaskDone done)>;

}  // namespace vantora
