// Hop from any thread to the Qt main thread.
#pragma once

#include <functional>

namespace vantora {

// Queues `task` on the main thread's event loop; returns at once. Tasks of one thread run in the
// order they were posted. The task must check on arrival that what it works on still lives (see
// Lifetime). What it holds is let go of on the main thread, right after it ran. Dropped when no application object
// exists any more. Any thread.
void postToMain(std::function<void()> task);

}  // namespace vantora
