/*
 * How processors and caches enter and leave the store.
 *
 * The inserts take what a service says of one object (all its properties, or only those that
 * changed), keep what matching needs, merge it into what is stored, and have the object
 * associated. An object with nothing left to find is left as it is. A property of an unexpected
 * type is logged, stores nothing and requests recovery.
 *
 * The removals forget an object and its pairs and take its tuples off the list of the KOVD
 * processor. They stop at the first step that fails and then write nothing; the object and its
 * pairs are gone by then.
 *
 * Any thread; takes its own lock; runs inside a piece (store/one_piece.hpp). None throws, except
 * std::system_error when the mutex of the recovery request fails; the worker or the discovery that
 * called then logs it.
 */
#pragma once

#include "store/types.hpp"

#include <string>

void InsertSMBIOSCPUObj(const std::string& path, const ReceivedProperties& received);
void InsertSMBIOSCacheObj(const std::string& path, const ReceivedProperties& received);
void InsertKOVDCPUObj(const std::string& path, const ReceivedProperties& received);

/** Takes the processor's tuple and those of its caches off its partner's list. */
void removeSMBIOSCPUAssoc(const std::string& path);

/** Takes the cache's tuple off the list of its first processor's partner, and off no other. */
void removeSMBIOSCacheAssoc(const std::string& path);

/** Forgets the object and its list; writes nothing, for the object itself is gone. */
void removeKOVDCPUAssoc(const std::string& path);
