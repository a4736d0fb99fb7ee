// Giving memory back to the system.
#pragma once

namespace vantora {

// Returns what the allocator keeps of freed memory. After something large has ended, such as a peer connection with its
// encoder: the allocator would hold on to pieces of it in each of its arenas. Takes some milliseconds. Any thread.
void returnFreeMemory();

}  // namespace vantora
