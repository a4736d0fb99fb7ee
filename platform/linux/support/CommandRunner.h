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

// Runs the command in a session of its own and gives its outcome. Both outputs are read all the time. A command that
// runs past the watchdog, or past a stop request, is ended with everything in its process group: asked first, then
// killed. The outcome comes when the command itself has ended; what it left in the background is ended too and not
// waited for. Blocks; any thread.
[[nodiscard]] CommandOutcome runCommand(const CommandLaunch& launch, const CommandLimits& limits,
                                        const std::stop_token& stop);

}  // namespace vantora
