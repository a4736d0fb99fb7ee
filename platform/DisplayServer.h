// Reachability of the display server.
#pragma once

namespace vantora {

// Whether the server that DISPLAY names accepts a connection now. Any thread; waits for the server without limit.
bool isDisplayServerReachable();

}  // namespace vantora
