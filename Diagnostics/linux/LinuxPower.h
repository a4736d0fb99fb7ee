#pragma once

#include <QStringList>

#include "Diagnostics/Probe.h"

namespace vantora::Diagnostics::onLinux {

// The folders of the batteries that power the machine itself, not a mouse or a headset.
[[nodiscard]] QStringList batteryFolders(const Probe& probe);

}  // namespace vantora::Diagnostics::onLinux
