// Answers a viewer's requests for the diagnostics report.
#pragma once

#include <list>
#include <memory>

#include "base/BackgroundTask.h"
#include "main/control/ControlChannel.h"
#include "main/control/dispatch/ControlDispatcher.h"

namespace vantora {

// Makes a report for each request, off the main thread, and sends it on the channel of the request as long as that
// channel exists. Thread: main. Owner: Host.
class DiagnosticsRequests {
 public:
  // Maximum number of requests that wait for their report; further ones are dropped.
  static constexpr std::size_t kMaxPending = 8;

  // `sender` must outlive this object.
  DiagnosticsRequests(ControlSender& sender, TaskStarter report) : sender_(sender), report_(std::move(report)) {}

  // "diagnostics_run".
  void handleRun(ControlChannel origin);
  // The channel closed: the reports requested on it are cancelled. They must not be sent on its successor.
  void channelClosed(ControlChannel channel);

  std::size_t pending() const { return pending_.size(); }

 private:
  struct Pending {
    ControlChannel origin;
    std::unique_ptr<BackgroundTask> task;
  };

  ControlSender& sender_;
  TaskStarter report_;
  std::list<Pending> pending_;
};

// Installs the handler of "diagnostics_run". `requests` must outlive `dispatcher`. Main thread.
void bindDiagnosticsMessages(ControlDispatcher& dispatcher, DiagnosticsRequests& requests);

}  // namespace vantora
