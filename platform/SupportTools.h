// Support commands carried out with the desktop's own tools.
#pragma once

#include <QString>
#include <cstdint>
#include <functional>
#include <optional>

namespace vantora {

// The result of a command.
struct CommandOutcome {
  // The exit status is 0.
  bool ok = false;
  // The exit status; 128 plus the number of the signal that ended the command.
  std::int32_t code = 0;
  // At most 8192 characters, then a truncation mark; empty when the output was not UTF-8.
  QString standardOutput;
  QString standardError;
};

// Purpose: carries out support commands on the current desktop. Thread: main; run() never waits for a command. Owner:
// the desktop session.
class SupportTools {
 public:
  using Done = std::function<void(const CommandOutcome&)>;
  virtual ~SupportTools() = default;

  // Runs the counterpart of the support command `id`. `done` is called once, on the main thread, never before run
  // returns, and never after endAll. A missing counterpart on this desktop and a command that cannot start are outcomes
  // with `ok` false and the reason in the standard error.
  virtual void run(const QString& id, Done done) = 0;
  // Opens the system monitor, on the process `focusPid` where the program can show a single one.
  virtual void openSystemMonitor(std::optional<std::int64_t> focusPid) = 0;
  // Ends all running commands; programs that were opened keep running. May block for a second.
  virtual void endAll() = 0;
};

}  // namespace vantora
