// The user's login shell.
#pragma once

#include <QString>
#include <QStringList>

namespace vantora {

// The login shell of the user this process runs as, from the user database; "/bin/sh" when none is set there. Any
// thread.
QString loginShellOfUser();

// The command that runs `script`, written for /bin/sh, through a login shell, so that the user's profile applies. A
// shell that is not known to accept "-lc", or that refuses logins (nologin), is replaced by /bin/sh. Pure.
QStringList throughLoginShell(const QString& shell, const QString& script);

}  // namespace vantora
