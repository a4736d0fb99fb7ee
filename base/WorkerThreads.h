// A small thread pool for blocking work.
#pragma once

#include <chrono>
#include <memory>
#include <stop_token>

#include "base/BackgroundTask.h"

namespace vantora {

// Runs work in the order of submission, on at most a fixed number of threads, and delivers results to the main thread.
// Threads are started on demand and stay idle in between. Thread: main. Owner: the composition root; a task handle may
// outlive it and does nothing then.
class WorkerThreads {
 public:
  // Runs on a worker; should end soon after a stop request. It must own or share everything it uses: work that does not
  // end may outlive all other objects. Must not throw.
  using Work = std::function<JsonObject(const std::stop_token& stop)>;

  // `threads` is at least 1. `name` (at most 15 characters) is the thread name shown in process lists.
  WorkerThreads(QByteArray name, int threads);
  // How long the destructor waits for work that was asked to stop.
  static constexpr std::chrono::milliseconds kTimeout{1000};
  // Cancels all work and waits up to kTimeout for running work to end. Threads that are still running then (blocked in
  // the kernel) are abandoned.
  ~WorkerThreads();
  WorkerThreads(const WorkerThreads&) = delete;
  WorkerThreads& operator=(const WorkerThreads&) = delete;

  [[nodiscard]] std::unique_ptr<BackgroundTask> start(Work work, TaskDone done);

 private:
  class Shared;
  class Handle;
  std::shared_ptr<Shared> shared_;
};

}  // namespace vantora
