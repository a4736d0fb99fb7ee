#pragma once

#include <QJsonObject>

#include "Diagnostics/Probe.h"

namespace vantora::Diagnostics {

// {"status": "open", "captive" or "unknown"}: whether the detection page is what answers.
[[nodiscard]] QJsonObject captivePortal(const Probe& probe);

}  // namespace vantora::Diagnostics
