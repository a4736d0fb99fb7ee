// One record of what several fakes were asked to do, so that a test can hold the order.
#pragma once

#include <QStringList>

#include "tests/fakes/PrintQt.h"

namespace vantora::fakes {

// Thread: the test's.
class Journal {
 public:
  void note(const QString& entry) { entries_.append(entry); }
  const QStringList& entries() const { return entries_; }
  // What was noted since the last call.
  QStringList take() { return std::exchange(entries_, {}); }
  // The entries that start with `prefix`.
  QStringList with(QLatin1StringView prefix) const {
    QStringList found;
    for (const QString& entry : entries_) {
      if (entry.startsWith(prefix)) found.append(entry);
    }
    return found;
  }

 private:
  QStringList entries_;
};

}  // namespace vantora::fakes
