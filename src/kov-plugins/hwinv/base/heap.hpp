/*
 * What the C library keeps of freed memory.
 *
 * Any thread; takes the heap's own locks, so not with a mutex held that the SIGINT handler takes.
 * Never throws.
 */
#pragma once

/** Keeps the library from holding back more, the larger a freed block was. Before any thread. */
void limitFreeHeap();

/** Gives what is free in the heaps of all threads back to the system. Walks all of them. */
void giveBackFreeHeap();
