// Looks at the desktop that this process runs on.
#pragma once

#include <QByteArray>
#include <QList>
#include <QProcessEnvironment>

#include "platform/linux/support/DesktopFacts.h"

namespace vantora {

// The facts as they are now. `environment` is that of the session. Blocks while it reads files; any thread.
DesktopFacts probeDesktop(const QProcessEnvironment& environment);

// Whether a process of dnsmasq with these arguments and control groups (as /proc shows them) answers this system's own
// questions: it is the system's service, or NetworkManager runs it for that. Managers of virtual machines and
// containers run others, for networks of their own. Pure.
[[nodiscard]] bool servesThisSystem(const QList<QByteArray>& arguments, const QByteArray& controlGroups);

}  // namespace vantora
