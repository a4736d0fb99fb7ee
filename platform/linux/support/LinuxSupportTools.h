// Support commands on a Linux desktop.
#pragma once

#include <QProcessEnvironment>
#include <memory>

#include "platform/SupportTools.h"
#include "platform/linux/support/CommandLimits.h"

namespace vantora {

struct LinuxSupportSettings {
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  // Path of the user's login shell; empty for the one in the user database.
  QString loginShell;
  CommandLimits limits;
  // Commands that may run at the same time; further ones fail immediately.
  int maxCommands = 8;
};

// Each command has its own thread, which probes the desktop, makes the plan and waits for the command's end.
std::unique_ptr<SupportTools> makeLinuxSupportTools(LinuxSupportSettings settings = {});

}  // namespace vantora
