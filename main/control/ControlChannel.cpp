#include "main/control/ControlChannel.h"

namespace vantora {

QLatin1StringView labelOf(ControlChannel channel) {
  return channel == ControlChannel::control ? QLatin1StringView("control") : QLatin1StringView("control_reliable");
}

}  // namespace vantora
