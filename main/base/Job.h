// Work that goes on away from the main thread.
#pragma once

#include <functional>
#include <memory>

#include "main/base/Json.h"

namespace vantora {

// Work under way. Destroying it gives the work up: it is told to stop and its result is thrown away.
// Main thread.
class Job {
 public:
  virtual ~Job() = default;
};

// Gets the result of a job, on the main thread, once; it may destroy its own job.
using JobDone = std::function<void(const JsonObject& result)>;
// Starts one kind of work and returns at once; `done` is called later, never once the job is destroyed.
using StartJob = std::function<std::unique_ptr<Job>(JobDone done)>;

}  // namespace vantora
