// Collects facts about the desktop that this process runs on.
#pragma once

#include <QByteArray>
#include <QList>
#include <QProcessEnvironment>

#include "platform/linux/support/DesktopFacts.h"

namespace vantora {

// The current facts. `environment` is that of the session. Blocks while it reads files; any thread.
DesktopFacts probeDesktop(const QProcessEnvironment& environment);

// Whether a dnsmasq process with these arguments and control groups (as in /proc) resolves names for this system
// itself: it is the system's service, or NetworkManager runs it for that. Managers of virtual machines and containers
// run their own instances, for private networks. Pure.
[[nodiscard]] bool servesThisSystem(const QList<QByteArray>& arguments, const QByteArray& controlGroups);

}  // namespace vantora
