/*
 * Start-up: the steps of main, each callable by a test.
 *
 * Main thread only. A step that fails throws, SdBusError for the bus, std::system_error for a
 * thread; main logs it and the process ends with status 0. installSignalHandler answers false
 * instead, and the status is then 255.
 */
#pragma once

#include "base/failure.hpp"

#include <sdeventplus/event.hpp>
#include <systemd/sd-bus.h>

#include <memory>
#include <thread>

/** The two workers; detached as soon as both run. */
extern std::thread smbiosWorkerThread;
extern std::thread kovdWorkerThread;

using BusSlot = std::unique_ptr<sd_bus_slot, decltype(&sd_bus_slot_unref)>;

/** False, and logged at `site`, when the SIGINT handler cannot be installed. */
bool installSignalHandler(const Site& site);

/** Opens busConnection and takes the daemon's name on it. The connection under the binding's. */
sd_bus* openMainConnection();

/** The object manager at "/"; it goes with the slot. */
BusSlot addObjectManager(sd_bus* bus);

/** The main loop, with the connection attached at normal priority. */
sdeventplus::Event attachToMainLoop(sd_bus* bus);

/** Has the loop run the executor's units. A refusal is logged at `site` and start-up goes on. */
void registerExecutor(const Site& site, sdeventplus::Event& event);

/** The two workers, the subscription thread and the recovery thread; all detached. */
void startEventThreads();

/** Discovery, then both full passes: what the daemon finds on its own. */
void runStartUpPasses();

/** Detached, like the others. */
void startFallbackThread();

/**
 * A thread that SIGINT never interrupts. Whatever leaves its body is logged in the words of `end`,
 * without heap memory, and ends the thread alone. What the words point to outlives the thread.
 */
std::thread startThread(const FailureLines& end, void (*body)());

/** `status`, with SIGINT blocked for good: the handler must not meet what exit destroys. */
int leave(int status);
