// The program's own log: one line per event on standard error.
#pragma once

#include <QString>
#include <functional>

namespace vantora {

// Writes `line` and a newline to standard error in one write, so that lines of different threads are never interleaved;
// line breaks inside it become blanks. `line` begins with its area tag ("[ws] ...") and has no newline. Any thread.
void logLine(const QString& line);
void logLine(const char* utf8Line);

// Keeps the toolkit's messages off standard error, which is reserved for the program's own log, except the last one
// before it ends the process ("fatal: ..."). To be called at the start of the program.
void silenceToolkit();

// Replaces the destination of logLine until destroyed; for tests. The sink is called on the
// thread that logs, under a lock: it must not log itself.
class ScopedLogSink {
 public:
  explicit ScopedLogSink(std::function<void(const QString&)> sink);
  ~ScopedLogSink();
  ScopedLogSink(const ScopedLogSink&) = delete;
  ScopedLogSink& operator=(const ScopedLogSink&) = delete;
};

}  // namespace vantora
