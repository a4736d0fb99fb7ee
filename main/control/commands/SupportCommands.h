// Support commands: a fixed set of maintenance tasks that a viewer can start on the host.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "base/Json.h"
#include "main/control/ControlChannel.h"
#include "main/control/dispatch/ControlDispatcher.h"
#include "platform/SupportTools.h"

namespace vantora {

// Handles "exec_command" and "open_activity_monitor"; the caller has tested the viewer's rights. Thread: main. Owner:
// Host. Several commands may run at once; they end with this object.
class SupportCommands {
 public:
  // done(ok, exit code, standard output, standard error)
  using Done = std::function<void(bool, qint32, const QString&, const QString&)>;

  // Both must outlive this object.
  SupportCommands(ControlSender& sender, SupportTools& tools) : sender_(sender), tools_(tools) {}
  ~SupportCommands() { endAll(); }
  SupportCommands(const SupportCommands&) = delete;
  SupportCommands& operator=(const SupportCommands&) = delete;

  // "exec_command": runs the entry that "id" or "text" names and answers with "command_result" when it has ended, or at
  // once when no entry matches. Nothing is sent when the viewer was replaced meanwhile.
  void handleExecCommand(ControlChannel origin, const JsonObject& message);
  // "exec_command" of a viewer without the right.
  void refuseExecCommand(ControlChannel origin, const JsonObject& message);
  // "open_activity_monitor": never answered.
  void handleOpenActivityMonitor(const JsonObject& message);

  // Runs the desktop's counterpart of the entry `id` in the background. `done` is called once, later,
  // on the main thread; never after the end of this object. Whether administrator rights are asked for
  // depends on the counterpart.
  void runCommandAsync(const QString& id, Done done);
  // Opens the system monitor, showing one process where the program supports that.
  void openActivityMonitor(std::optional<qint64> focusPID);
  // Ends the commands that still run, without a reply. May block for a second.
  void endAll() { tools_.endAll(); }

 private:
  ControlSender& sender_;
  SupportTools& tools_;
};

// Installs the handlers of "exec_command" and "open_activity_monitor". `commands` must outlive `dispatcher`. Main
// thread.
void bindCommandMessages(ControlDispatcher& dispatcher, SupportCommands& commands);

}  // namespace vantora
