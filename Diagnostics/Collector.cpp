#include "Diagnostics/Collector.h"

#include "Diagnostics/linux/LinuxCollectors.h"
#include "Diagnostics/mac/MacCollectors.h"

namespace vantora::Diagnostics {

const std::vector<Collector>& collectors() {
#ifdef Q_OS_MACOS
  return macCollectors();
#else
  return linuxCollectors();
#endif
}

}  // namespace vantora::Diagnostics
