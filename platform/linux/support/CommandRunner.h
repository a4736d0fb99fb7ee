// Runs one support command to its end.
#pragma once

#include <QStringList>
#include <stop_token>

#include "platform/SupportTools.h"
#include "platform/linux/support/CommandLimits.h"

namespace vantora {

// A program with its arguments, the whole environment as "NAME=value", and the folder it runs in.
struct CommandLaunch {
  QStringList command;
  QStringList environment;
  QString folder;
};

// Runs the command in its own session and returns its outcome. Both outputs are read continuously. On the watchdog's
// timeout or a stop request the command's process group is ended: first with SIGTERM, then with SIGKILL. Returns when
// the command itself has ended; processes that it left in the background are killed and not waited for. Blocks; any
// thread.
[[nodiscard]] CommandOutcome runCommand(const CommandLaunch& launch, const CommandLimits& limits,
                                        const std::stop_token& stop);

}  // namespace vantora
