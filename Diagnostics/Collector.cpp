#include "Diagnostics/Collector.h"

#include "Diagnostics/linux/LinuxCollectors.h"

namespace vantora::Diagnostics {

const std::vector<Collector>& collectors() { return linuxCollectors(); }

}  // namespace vantora::Diagnostics
