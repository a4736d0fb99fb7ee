// Giving memory back to the system.
#pragma once

namespace vantora {

// Returns what the allocator keeps of freed memory. After something large has ended, such as a peer connection with its
// encoder: the allocator would hold on to pieces of it in each of its arenas. Takes some milliseconds. Any thread.
void returnFreeMemory();

// Keeps the allocator to two arenas. It would make up to eight for each core, and over many connections with their
// threads every one of them collects pieces that cannot be returned. At the start of the program.
void keepMemoryTogether();

}  // namespace vantora
