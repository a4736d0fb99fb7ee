// SIGINT, SIGTERM and SIGHUP as an ordinary event of the main loop.
#pragma once

#include <QSocketNotifier>
#include <functional>
#include <memory>

namespace vantora {

// From construction on these signals no longer end the process: `requested` runs on the main
// thread instead. A SIGHUP that was ignored at the start, as under nohup, stays ignored. Create it
// before any thread starts, once per process.
class TerminationSignals {
 public:
  explicit TerminationSignals(std::function<void()> requested);
  ~TerminationSignals();
  TerminationSignals(const TerminationSignals&) = delete;
  TerminationSignals& operator=(const TerminationSignals&) = delete;

 private:
  int descriptor_ = -1;
  std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace vantora
