// The log lines of a test, in order, instead of standard error.
#pragma once

#include <QStringList>

#include "base/Log.h"

namespace vantora::fakes {

// Thread: lines may come from any thread; read them when those threads are done.
class RecordedLog {
 public:
  const QStringList& lines() const { return lines_; }
  void clear() { lines_.clear(); }

 private:
  QStringList lines_;
  ScopedLogSink sink_{[this](const QString& line) { lines_.append(line); }};
};

}  // namespace vantora::fakes
