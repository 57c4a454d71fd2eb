// server_memory: how the process that c-icap runs keeps its memory.
#pragma once

namespace sifterra::icap {

// A page is thousands of small blocks that are freed together between a few large ones. By default the
// allocator sweeps all free small blocks up each time a large one is freed, and keeps a heap of its own for
// each thread, in which what the largest page has left stays for good. For the whole process, before threads
// start.
void tuneAllocator();

// Gives free pages between the blocks that stay back to the system, now and then: what a few large pages took
// is not kept for ever. To be called behind each request.
void trimMemory();

}  // namespace sifterra::icap
