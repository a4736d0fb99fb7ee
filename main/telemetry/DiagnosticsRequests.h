// Answers a viewer's requests for the diagnostics report.
#pragma once

#include <list>
#include <memory>

#include "base/BackgroundTask.h"
#include "main/control/ControlChannel.h"
#include "main/control/dispatch/ControlDispatcher.h"

namespace vantora {

// Each request has a report made for it, away from the main thread, and is answered on the channel it came on, for as
// long as that channel lasts. Thread: main. Owner: Host.
class DiagnosticsRequests {
 public:
  // Requests that wait for their report; a viewer that asks for more is not answered until some are done.
  static constexpr std::size_t kMostPending = 8;

  // `sender` must outlive this object.
  DiagnosticsRequests(ControlSender& sender, TaskStarter report) : sender_(sender), report_(std::move(report)) {}

  // "diagnostics_run".
  void handleRun(ControlChannel origin);
  // The channel closed: the reports asked for on it are given up. Its successor belongs to nobody who asked.
  void channelClosed(ControlChannel channel);

  std::size_t pending() const { return pending_.size(); }

 private:
  struct Pending {
    ControlChannel origin;
    std::unique_ptr<BackgroundTask> job;
  };

  ControlSender& sender_;
  TaskStarter report_;
  std::list<Pending> pending_;
};

// Installs the handler of "diagnostics_run". `requests` must outlive `dispatcher`. Main thread.
void bindDiagnosticsMessages(ControlDispatcher& dispatcher, DiagnosticsRequests& requests);

}  // namespace vantora
