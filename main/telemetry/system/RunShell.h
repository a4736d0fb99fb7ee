// Runs a shell command for the statistics.
#pragma once

#include <QString>
#include <stop_token>

namespace vantora {

// Runs `commandLine` through a login shell (so that the user's profile is read) and returns its standard output, ""
// when the shell cannot be started or prints something that is not UTF-8. Standard error is discarded. The output is
// read once the command has ended, so a command that prints more than a pipe holds does not end. There is no time
// limit, but a stop request kills the command. For collectors of a system whose figures come from tools. Blocks; any
// thread.
[[nodiscard]] QString runShell(const QString& commandLine, const std::stop_token& stop = {},
                               const QString& shell = QStringLiteral("/bin/zsh"));

}  // namespace vantora
