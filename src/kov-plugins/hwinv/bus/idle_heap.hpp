/*
 * Giving memory back: what work took and freed goes from the C library to the system when the
 * daemon has fallen idle.
 *
 * Nobody counts how much work there was: one message may take as much memory as ten thousand
 * others. Whoever has done some says so, and 0.3 s later the main loop gives back what is free by
 * then, in the heaps of all threads. It does the same for its own work. While there is work that
 * happens once in 0.3 s at most; without any, the loop never wakes up for it.
 */
#pragma once

#include <systemd/sd-event.h>

/**
 * From now on this loop gives memory back; what is added to it goes with it. Throws SdBusError.
 * Main thread only, before the other threads start.
 */
void giveBackHeapWhenIdle(sd_event* loop);

/**
 * After work, when its memory is freed. Without a loop it has no effect. Any thread; takes no lock.
 * Never throws.
 */
void noteHeapUse() noexcept;
