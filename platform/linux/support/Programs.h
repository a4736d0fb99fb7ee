// Which program of the desktop serves for what.
#pragma once

#include <QStringList>
#include <optional>

#include "platform/linux/support/DesktopFacts.h"

namespace vantora {

// Command lines, empty when nothing that serves is installed: the desktop's own program first. All pure.
QStringList terminalCommand(const DesktopFacts& facts);
// A terminal that runs `command`.
QStringList terminalRunning(const DesktopFacts& facts, const QStringList& command);
QStringList fileManagerCommand(const DesktopFacts& facts, const QString& folder);
// `pid`, when it can be one, is handed to programs that can show a single process.
QStringList systemMonitorCommand(const DesktopFacts& facts, std::optional<std::int64_t> pid);

}  // namespace vantora
