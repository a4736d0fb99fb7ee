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

// A look under way. Everything is under the mutex of the list.
struct Pending {
  Clock::time_point timeoutAt;
  std::optional<bool> there;
};

struct PendingList {
  std::mutex mutex;
  std::condition_variable answered;
  QHash<QString, std::shared_ptr<Pending>> looks;
};

// Never destroyed: looks may come back at any time, also at the very end.
PendingList& pendingList() {
  static auto* const list = new PendingList;
  return *list;
}

void lookAt(const QString& path, const Look& look, const std::shared_ptr<Pending>& pending) {
  const bool there = look(path);
  PendingList& list = pendingList();
  const std::lock_guard lock(list.mutex);
  pending->there = there;
  list.looks.remove(path);
  list.answered.notify_all();
}

struct OwnLook {
  std::shared_ptr<Pending> pending;
  AbandonableThread thread;
};

}  // namespace

QStringList answering(const QStringList& paths, const Look& look, Clock::time_point deadline) {
  PendingList& list = pendingList();
  std::vector<std::shared_ptr<Pending>> looks;
  std::vector<OwnLook> own;
  QStringList result;
  {
    std::unique_lock lock(list.mutex);
    for (const QString& asked : paths) {
      // A thread may come back when whoever asked has gone: it shares no text with them.
      const QString path(asked.constData(), asked.size());
      std::shared_ptr<Pending>& pending = list.looks[path];
      if (!pending) {
        pending = std::make_shared<Pending>(Pending{Clock::now() + kProbeTimeout, {}});
        own.push_back({pending, AbandonableThread([path, look, pending] { lookAt(path, look, pending); })});
      }
      looks.push_back(pending);
    }
    for (size_t i = 0; i < looks.size(); ++i) {
      const Pending& pending = *looks[i];
      list.answered.wait_until(lock, std::min(deadline, pending.timeoutAt),
                               [&] { return pending.there.has_value(); });
      if (pending.there.value_or(false)) result.append(paths[static_cast<qsizetype>(i)]);
    }
  }
  for (OwnLook& each : own) {
    const bool answered = [&] {
      const std::lock_guard lock(list.mutex);
      return each.pending->there.has_value();
    }();
    // One that has answered is at its last steps.
    (void)each.thread.join(answered ? Clock::now() + kProbeTimeout : Clock::now());
  }
  return result;
}

}  // namespace vantora::Diagnostics
