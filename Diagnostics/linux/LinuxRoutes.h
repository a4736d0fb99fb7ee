#pragma once

#include <QString>

#include "Diagnostics/Probe.h"
#include "Diagnostics/text/AddressText.h"

namespace vantora::Diagnostics::onLinux {

// The default route by IPv4, or by IPv6 where there is none.
[[nodiscard]] DefaultRoute defaultRoute(const Probe& probe);
// The first resolver outside this machine; the local one when there is no other; "" when there is none.
[[nodiscard]] QString firstResolver(const Probe& probe);

}  // namespace vantora::Diagnostics::onLinux
