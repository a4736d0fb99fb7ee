#pragma once

#include <QString>
#include <QStringList>
#include <chrono>
#include <stop_token>

#include "Diagnostics/Variables.h"

namespace vantora::Diagnostics {

// The time limit of a command, in seconds.
inline constexpr double kCommandSeconds = 2.5;

// What bounds a command besides its own time limit.
struct ShellLimits {
  // The command's whole environment, as "NAME=value".
  QStringList environment = entriesOf(ownVariables());
  // The command never runs past this moment.
  std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max();
  // Kills the command when stopped.
  std::stop_token stop;
  // Whether the shell reads the user's login profile first.
  bool login = true;
  // Bytes of output that are kept; what follows is read and thrown away, so that the command can end.
  qsizetype keptBytes = 1 << 20;
};

// Runs a command line through a login shell (`/bin/bash -lc`) and gives its standard output, white space trimmed at
// both ends; "" when it cannot be started or prints something that is not UTF-8. Standard input is empty, standard
// error is thrown away. With `login` off in the limits no profile is read (`/bin/bash -c`). After `timeoutSeconds` the
// whole process group is ended, and what it had printed by then is still the result; a process that left the group and
// holds the output open is not waited for. The command runs at low processor and disk priority. Blocks; any thread.
[[nodiscard]] QString sh(const QString& commandLine, double timeoutSeconds = kCommandSeconds);
[[nodiscard]] QString sh(const QString& commandLine, double timeoutSeconds, const ShellLimits& limits);

}  // namespace vantora::Diagnostics
