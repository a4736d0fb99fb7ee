// The scripts of the support commands for each desktop.
#pragma once

#include <QStringView>
#include <cstdint>
#include <optional>

#include "platform/linux/support/CommandPlan.h"
#include "platform/linux/support/DesktopFacts.h"

namespace vantora {

// The plan for the support command `id`. Pure.
CommandPlan commandPlanFor(QStringView id, const DesktopFacts& facts);

// The plan for opening the system monitor, on one process where the program can show a single one. Pure.
CommandPlan systemMonitorPlan(const DesktopFacts& facts, std::optional<std::int64_t> focusPid);

}  // namespace vantora
