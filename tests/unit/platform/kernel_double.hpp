/*
 * System calls of a test program: reads are counted, and an epoll can be made to be full.
 */
#pragma once

#include <atomic>

/** How often read was called, by the program or a library. */
extern std::atomic<int> reads;

/** While it is set, epoll_ctl takes no further descriptor. */
extern std::atomic<bool> epollIsFull;
