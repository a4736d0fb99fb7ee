// The script of a support command on one desktop.
#pragma once

#include <QString>
#include <QStringList>

namespace vantora {

// Either a script or the reason why it is missing.
struct CommandPlan {
  // For /bin/sh.
  QString script;
  // What this desktop lacks; empty when there is a script.
  QString missing;

  bool operator==(const CommandPlan&) const = default;
};

// `word` quoted as a single word for the shell. Pure.
QString shellQuoted(const QString& word);

// The script that starts a program detached, so that it outlives the script and this process, and ends after a second:
// with status 0 when the program still runs or has succeeded, else with the program's own status. The program runs
// under the user's service manager when that responds; `serviceManager` is the path of systemd-run, or empty. Pure.
QString launchScript(const QStringList& command, const QString& serviceManager);

}  // namespace vantora
