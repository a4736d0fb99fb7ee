#pragma once

#include <vector>

#include "Diagnostics/Collector.h"

namespace vantora::Diagnostics {

// The report's pieces on macOS: one per section, each a few of the system's own command lines, taken as they stand.
[[nodiscard]] const std::vector<Collector>& macCollectors();

}  // namespace vantora::Diagnostics
