// The desktop's own tools for support: what a support command does here.
#pragma once

#include <QString>
#include <cstdint>
#include <functional>
#include <optional>

namespace vantora {

// How a command ended.
struct CommandOutcome {
  // The exit status is 0.
  bool ok = false;
  // The exit status; 128 plus the number of the signal that ended the command.
  std::int32_t code = 0;
  // At most 8192 characters, then a mark; empty when the output was not UTF-8.
  QString standardOutput;
  QString standardError;
};

// Purpose: carries out support commands by the means of the desktop at hand. Thread: main; nothing
// here waits for a command. Owner: the composition root; outlives the session.
class SupportTools {
 public:
  using Done = std::function<void(const CommandOutcome&)>;
  virtual ~SupportTools() = default;

  // Runs the counterpart of the support command `id`. `done` is called once, on the main thread, never
  // before run returns, and not any more after endAll. A counterpart that this desktop lacks and a
  // command that cannot start are outcomes with `ok` false and a standard error that says why.
  virtual void run(const QString& id, Done done) = 0;
  // Brings up the system monitor, on the process `focusPid` where the program can show a single one.
  virtual void openSystemMonitor(std::optional<std::int64_t> focusPid) = 0;
  // Ends all commands that still run; programs that were opened stay. May block for a second.
  virtual void endAll() = 0;
};

}  // namespace vantora
