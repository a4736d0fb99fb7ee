#pragma once

#include <QString>

#include "Diagnostics/Probe.h"

namespace vantora::Diagnostics {

// What a folder holds, in KiB; 0 when that cannot be measured in time.
[[nodiscard]] qint64 folderKB(const Probe& probe, const QString& path);

}  // namespace vantora::Diagnostics
