// Choice of the desktop's programs for each purpose.
#pragma once

#include <QStringList>
#include <optional>

#include "platform/linux/support/DesktopFacts.h"

namespace vantora {

// Command lines, the desktop's own program preferred; empty when no suitable program is installed. All pure.
QStringList terminalCommand(const DesktopFacts& facts);
// A terminal that runs `command`.
QStringList terminalRunning(const DesktopFacts& facts, const QStringList& command);
QStringList fileManagerCommand(const DesktopFacts& facts, const QString& folder);
// `pid`, when it is a valid process id, is passed to programs that can show a single process.
QStringList systemMonitorCommand(const DesktopFacts& facts, std::optional<std::int64_t> pid);

}  // namespace vantora
