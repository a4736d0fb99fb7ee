// The machine's figures as the statistics messages need them: at once, and never older than a moment.
#pragma once

#include <memory>
#include <optional>

#include "base/BackgroundTask.h"
#include "base/Scheduler.h"

namespace vantora {

// Keeps what was collected last. Collecting happens away from the main thread, and only while somebody asks: a
// collection is started shortly before the figures are a second old, so that new ones are there when they are wanted.
// Thread: main. Owner: Host, for the life of the session.
class SystemStats {
 public:
  // How long figures are served before there are new ones.
  static constexpr std::chrono::milliseconds kLifetime{1000};
  // How long before that their successors are collected: a little more than the time between two messages.
  static constexpr std::chrono::milliseconds kAhead{300};
  // Figures this old are not served any more, whatever the reason that there are no others.
  static constexpr std::chrono::milliseconds kTooOld{3000};

  // `collect` gives the "sys" object.
  SystemStats(const Scheduler& scheduler, TaskStarter collect) : scheduler_(scheduler), collect_(std::move(collect)) {}

  // The "sys" object: the same one for a second, then the next. Empty while nothing is known; none when this machine
  // has no figures at all.
  [[nodiscard]] std::optional<JsonObject> getSystemStats();
  // Somebody is about to ask: figures are collected, so that the first answer has some.
  void prepare();
  // Nobody asks any more: a collection under way is given up.
  void pause();

 private:
  using Time = std::chrono::nanoseconds;
  void startCollecting();
  [[nodiscard]] bool isOlder(const std::optional<Time>& at, std::chrono::milliseconds age) const;

  const Scheduler& scheduler_;
  const TaskStarter collect_;
  JsonObject lastSysStats_;
  std::optional<Time> lastSysAt_;  // since when they are served
  // Collected, and not served yet.
  JsonObject next_;
  std::optional<Time> nextAt_;
  std::unique_ptr<BackgroundTask> job_;
};

}  // namespace vantora
