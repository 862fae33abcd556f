/*
 * One piece at a time: the lock that puts the events in order.
 *
 * A piece is what an event does as a whole: look something up, search, record a pair, read the list
 * of a platform processor, change it and hand it over. No second piece begins before it has ended,
 * so the store and the handed-over lists are always what some order of the events, one after the
 * other, would have given. The store's own mutexes protect each map or table alone
 * and could not promise that.
 *
 * The pieces, and who takes the lock for each:
 *   - one record: processSmbiosRecord, processKovdRecord;
 *   - one discovered object, its path with all its interfaces: GetManagedObjsSMBIOS and
 *     GetManagedObjsKOVD;
 *   - one step of a full pass: one SMBIOS slot in AssociateSMBIOSPCIESlotsObjToKOVDObjs, one SMBIOS
 *     processor in CPUAssociation.
 * So discovery and the passes, on main or on the recovery thread, let the workers in between two
 * objects or steps. What happens inside a piece (inserts, removals, searches) takes no such lock.
 *
 * Any thread. Taken before any other mutex, and not recursive: nobody who holds it, or any other
 * mutex, begins a piece. Inside a piece recovery may be requested, units may be handed to the main
 * loop, and lines are logged: a thread that has to wait for the reader of the log makes the others
 * wait, who would wait with their own next line anyway. It is never held across a bus call or a
 * wait for a thread, and the SIGINT handler, which may interrupt main inside a piece, never takes
 * it. A failing lock throws std::system_error.
 */
#pragma once

#include "base/mutex.hpp"

extern Mutex pieceMutex;
