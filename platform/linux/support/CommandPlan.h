// What a support command does on one desktop.
#pragma once

#include <QString>
#include <QStringList>

namespace vantora {

// Either a script or the reason why there is none.
struct CommandPlan {
  // For /bin/sh.
  QString script;
  // What this desktop lacks; empty when there is a script.
  QString missing;

  bool operator==(const CommandPlan&) const = default;
};

// One word for the shell. Pure.
QString shellQuoted(const QString& word);

// The script that starts a program so that it outlives the script and whoever runs it, and ends after a second: with
// status 0 when the program runs on or has ended well, else with the program's own. Under the user's service manager
// when that answers; `serviceManager` is the path of systemd-run, or empty. Pure.
QString launchScript(const QStringList& command, const QString& serviceManager);

}  // namespace vantora
