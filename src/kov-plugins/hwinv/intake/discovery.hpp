/*
 * Reading the whole inventory of both services and feeding it to the inserts: at start-up and in
 * each resync.
 *
 * Runs on the calling thread (main during start-up, else the recovery thread), synchronously, on a
 * connection of its own; each call waits for the library's default call time-out at most. The calls
 * are made without a lock; each object is then inserted as one piece. None of these throws: a
 * missing service, an error reply or an exception costs the objects not read yet, and nothing
 * stored is removed.
 */
#pragma once

#include "store/one_piece.hpp"

#include <sdbusplus/bus.hpp>

void GetAllManagedObjects() EXCLUDES(pieceMutex);

/** The slots, processors and caches of the SMBIOS service. */
void GetManagedObjsSMBIOS(sdbusplus::bus_t& bus) EXCLUDES(pieceMutex);

/** The board and chassis objects of the platform daemon. A failing board costs the chassis too. */
void GetManagedObjsKOVD(sdbusplus::bus_t& bus) EXCLUDES(pieceMutex);
