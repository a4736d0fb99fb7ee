#include "Diagnostics/PathProbe.h"

#include <QHash>
#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "base/process/AbandonableThread.h"

namespace vantora::Diagnostics {
namespace {

using Clock = std::chrono::steady_clock;

// A check in progress. Guarded by the mutex of the list.
struct Pending {
  Clock::time_point timeoutAt;
  std::optional<bool> there;
};

struct PendingList {
  std::mutex mutex;
  std::condition_variable answered;
  QHash<QString, std::shared_ptr<Pending>> checks;
};

// Never destroyed: checks may return at any time, also while the process exits.
PendingList& pendingList() {
  static auto* const list = new PendingList;
  return *list;
}

void runCheck(const QString& path, const PathCheck& check, const std::shared_ptr<Pending>& pending) {
  const bool there = check(path);
  PendingList& list = pendingList();
  const std::lock_guard lock(list.mutex);
  pending->there = there;
  list.checks.remove(path);
  list.answered.notify_all();
}

struct OwnCheck {
  std::shared_ptr<Pending> pending;
  AbandonableThread thread;
};

}  // namespace

QStringList answering(const QStringList& paths, const PathCheck& check, Clock::time_point deadline) {
  PendingList& list = pendingList();
  std::vector<std::shared_ptr<Pending>> checks;
  std::vector<OwnCheck> own;
  QStringList result;
  {
    std::unique_lock lock(list.mutex);
    for (const QString& asked : paths) {
      // A thread may outlive its caller: it gets a deep copy of the text.
      const QString path(asked.constData(), asked.size());
      std::shared_ptr<Pending>& pending = list.checks[path];
      if (!pending) {
        pending = std::make_shared<Pending>(Pending{Clock::now() + kProbeTimeout, {}});
        own.push_back({pending, AbandonableThread([path, check, pending] { runCheck(path, check, pending); })});
      }
      checks.push_back(pending);
    }
    for (size_t i = 0; i < checks.size(); ++i) {
      const Pending& pending = *checks[i];
      list.answered.wait_until(lock, std::min(deadline, pending.timeoutAt), [&] { return pending.there.has_value(); });
      if (pending.there.value_or(false)) result.append(paths[static_cast<qsizetype>(i)]);
    }
  }
  for (OwnCheck& each : own) {
    const bool answered = [&] {
      const std::lock_guard lock(list.mutex);
      return each.pending->there.has_value();
    }();
    // A thread that has stored its result is about to end.
    (void)each.thread.join(answered ? Clock::now() + kProbeTimeout : Clock::now());
  }
  return result;
}

}  // namespace vantora::Diagnostics
