/*
 * The memory of a test program: heap that can be made to run out, and a malloc_trim that only
 * counts.
 */
#pragma once

#include <atomic>

/** While it is set, `new` throws std::bad_alloc on this thread. */
extern thread_local bool noMemory;

/** How often malloc_trim was called. */
extern std::atomic<int> trims;
