// A common record of the calls of several fakes. Tests check the log lines and the required order of calls, not the
// incidental order between fakes.
#pragma once

#include <QStringList>
#include <mutex>
#include <utility>

#include "tests/fakes/PrintQt.h"

namespace vantora::fakes {

// Any thread: workers write to the log as well.
class Journal {
 public:
  void note(const QString& entry) {
    const std::lock_guard guard(mutex_);
    entries_.append(entry);
  }
  QStringList entries() const {
    const std::lock_guard guard(mutex_);
    return entries_;
  }
  // Entries since the last call.
  QStringList take() {
    const std::lock_guard guard(mutex_);
    return std::exchange(entries_, {});
  }
  // The entries that start with `prefix`.
  QStringList with(QLatin1StringView prefix) const {
    QStringList found;
    for (const QString& entry : entries()) {
      if (entry.startsWith(prefix)) found.append(entry);
    }
    return found;
  }

  // Whether the journal contains these entries in this order, possibly with others in between.
  [[nodiscard]] bool holds(const QStringList& inOrder) const {
    qsizetype next = 0;
    for (const QString& entry : entries()) {
      if (next < inOrder.size() && entry == inOrder[next]) ++next;
    }
    return next == inOrder.size();
  }

 private:
  mutable std::mutex mutex_;
  QStringList entries_;
};

}  // namespace vantora::fakes
