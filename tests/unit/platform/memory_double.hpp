/*
 * The memory of a test program: heap that can be made to run out.
 */
#pragma once

/** While it is set, `new` throws std::bad_alloc on this thread. */
extern thread_local bool noMemory;
