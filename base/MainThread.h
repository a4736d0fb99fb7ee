// Posting work from any thread to the Qt main thread.
#pragma once

#include <functional>

namespace vantora {

// Queues `task` on the main thread's event loop; returns at once. Tasks of one thread run in the order they were
// posted. The task must check when it runs that the objects it uses still exist (see Lifetime). Its captures are
// destroyed on the main thread, right after it ran. Dropped when there is no application object. Any thread.
void postToMain(std::function<void()> task);

}  // namespace vantora
