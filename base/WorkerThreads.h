// A few threads for work that blocks.
#pragma once

#include <chrono>
#include <memory>
#include <stop_token>

#include "base/BackgroundTask.h"

namespace vantora {

// Runs work in the order it was given, on at most a fixed number of threads, and hands results to the
// main thread. The threads are started when they are needed and wait in between. Thread: main.
// Owner: the composition root; jobs may outlive it and do nothing then.
class WorkerThreads {
 public:
  // Runs on a worker; should end soon after it is told to stop. What it touches it must own, or share: work that does
  // not end may outlive everything else. Must not throw.
  using Work = std::function<JsonObject(const std::stop_token& stop)>;

  // `threads` is at least 1. `name` (at most 15 characters) is what the threads are called in process lists.
  WorkerThreads(QByteArray name, int threads);
  // How long the end waits for work that was told to stop.
  static constexpr std::chrono::milliseconds kTimeout{1000};
  // Gives up all work and waits until what is running has noticed. Threads that have not by then (the kernel does not
  // let them go) are left behind.
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
