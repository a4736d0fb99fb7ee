// Returning memory to the system.
#pragma once

namespace vantora {

// Returns freed memory that the allocator keeps in its arenas. To be called after something large was destroyed, such
// as a peer connection with its encoder. Takes some milliseconds. Any thread.
void returnFreeMemory();

// Makes the allocator keep less. At most two arenas: the default is up to eight for each core, and over many
// connections with their threads each arena collects fragments that cannot be returned. Blocks of 256 KiB and more,
// such as frames, get pages of their own and are returned when they are freed: by default that ends for every size of
// which one block was ever freed. To be called at the start of the program.
void tuneAllocator();

}  // namespace vantora
