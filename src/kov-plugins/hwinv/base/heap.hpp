/*
 * Giving memory back: what a burst of work took and freed goes from the C library to the system.
 *
 * Any thread; takes the heap's own locks, so not with a mutex held that the SIGINT handler takes.
 * Never throws.
 */
#pragma once

/** Returns all free memory of the heap. Walks the whole heap: for the end of a burst. */
void giveBackFreeHeap();
