// Returning memory to the system.
#pragma once

namespace vantora {

// Returns freed memory that the allocator keeps in its arenas. To be called after something large was destroyed, such
// as a peer connection with its encoder. Takes some milliseconds. Any thread.
void returnFreeMemory();

// Limits the allocator to two arenas. The default is up to eight for each core, and over many connections with their
// threads each arena collects fragments that cannot be returned. To be called at the start of the program.
void limitAllocatorArenas();

}  // namespace vantora
