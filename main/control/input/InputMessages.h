// The viewer's pointer and key messages.
#pragma once

#include "main/control/ControlChannel.h"
#include "main/control/dispatch/ControlDispatcher.h"
#include "main/control/input/InputInjector.h"

namespace vantora {

// Installs the handlers of "mouseMove" to "type_text". Everything referred to must outlive `dispatcher`. Main thread.
void bindInputMessages(ControlDispatcher& dispatcher, InputInjector& injector, ControlSender& sender,
                       const Scheduler& scheduler);

}  // namespace vantora
