// Support commands on a Linux desktop.
#pragma once

#include <QProcessEnvironment>
#include <memory>

#include "platform/SupportTools.h"
#include "platform/linux/support/CommandLimits.h"

namespace vantora {

struct LinuxSupportSettings {
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  // Path of the user's login shell; empty for the one of the user database.
  QString loginShell;
  CommandLimits limits;
  // Commands that may run at once; what comes beyond fails at once.
  int most = 8;
};

// Each command has a thread of its own, which looks at the desktop, makes the plan and waits for the end.
std::unique_ptr<SupportTools> makeLinuxSupportTools(LinuxSupportSettings settings = {});

}  // namespace vantora
