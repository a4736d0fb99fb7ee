// The viewer's measurement of the round trip to the host.
#pragma once

#include "main/control/dispatch/ControlDispatcher.h"

namespace vantora {

// Installs the handler of "ping": a "pong" with the request's "t0", or the host's time without one. `sender` and
// `scheduler` must outlive `dispatcher`. Main thread.
void bindPing(ControlDispatcher& dispatcher, ControlSender& sender, const Scheduler& scheduler);

}  // namespace vantora
