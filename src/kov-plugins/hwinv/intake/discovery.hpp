/*
 * Reading the whole inventory of both services and feeding it to the inserts: at start-up and in
 * each resync.
 *
 * Runs on the calling thread (main during start-up, else the recovery thread), synchronously, on a
 * connection of its own; each call waits for the library's default call time-out at most. Takes no
 * lock of its own. None of these throws: a missing service, an error reply or an exception costs
 * the objects not read yet, and nothing stored is removed.
 */
#pragma once

#include <sdbusplus/bus.hpp>

void GetAllManagedObjects();

/** The slots, processors and caches of the SMBIOS service. */
void GetManagedObjsSMBIOS(sdbusplus::bus_t& bus);

/** The board and chassis objects of the platform daemon. A failing board costs the chassis too. */
void GetManagedObjsKOVD(sdbusplus::bus_t& bus);
