// The machine's figures for the statistics messages: available at once and always recent.
#pragma once

#include <memory>
#include <optional>

#include "base/BackgroundTask.h"
#include "base/Scheduler.h"

namespace vantora {

// Keeps the figures collected last. They are collected off the main thread, and only while they are requested: a
// collection starts shortly before the figures are a second old, so that new ones are ready in time. Thread: main.
// Owner: Host, for the life of the session.
class SystemStats {
 public:
  // How long figures are served before new ones replace them.
  static constexpr std::chrono::milliseconds kLifetime{1000};
  // How long before that the next ones are collected: a little more than the time between two messages.
  static constexpr std::chrono::milliseconds kAhead{300};
  // Figures this old are no longer served, even if there are no newer ones.
  static constexpr std::chrono::milliseconds kTooOld{3000};

  // `collect` returns the "sys" object.
  SystemStats(const Scheduler& scheduler, TaskStarter collect) : scheduler_(scheduler), collect_(std::move(collect)) {}

  // The "sys" object: the same one for a second, then the next. An empty object while nothing is known; nullopt when
  // this machine has no figures at all.
  [[nodiscard]] std::optional<JsonObject> getSystemStats();
  // Collects figures in advance, so that the first request gets some.
  void prepare();
  // No requests follow for now: cancels a running collection.
  void pause();

 private:
  using Time = std::chrono::nanoseconds;
  void startCollecting();
  [[nodiscard]] bool isOlder(const std::optional<Time>& at, std::chrono::milliseconds age) const;

  const Scheduler& scheduler_;
  const TaskStarter collect_;
  JsonObject lastSysStats_;
  std::optional<Time> lastSysAt_;  // when serving them began
  // Collected, but not served yet.
  JsonObject next_;
  std::optional<Time> nextAt_;
  std::unique_ptr<BackgroundTask> task_;
};

}  // namespace vantora
