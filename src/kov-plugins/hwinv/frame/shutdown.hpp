/*
 * What SIGINT does: it releases the threads that wait. The process, its name, its main loop and
 * the subscription thread go on until the process is killed.
 */
#pragma once

#include <atomic>

/** Set by the handler, never cleared. */
extern std::atomic<bool> stopRequested;

/** The SIGINT handler. Async; main thread only, for every other thread blocks SIGINT. */
void signal_handler(int signal);

/**
 * Sets each stop flag under its mutex and wakes who waits for it: the KOVD worker, the SMBIOS
 * worker, the recovery thread, the fallback thread. Called by signal_handler alone.
 */
void cleanUp();

/**
 * From here on a return from main flushes and ends the process at once, with status 0. To be
 * called before the first thread is started.
 */
void endProcessWithMain();
