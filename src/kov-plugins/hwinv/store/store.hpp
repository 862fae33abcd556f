/*
 * What the daemon knows of the two inventories: one map per kind of object, each with a mutex of
 * its own, and the association list last handed over for each platform processor.
 *
 * Any thread; takes its own lock. Built before main and kept until the process ends. No map is ever
 * emptied as a whole: a resync overwrites entries. No two of these mutexes are held at once, with
 * one exception that cpu_cache_pairs.hpp tells.
 */
#pragma once

#include "base/mutex.hpp"
#include "store/association_pairs.hpp"
#include "store/cpu_cache_pairs.hpp"
#include "store/object_map.hpp"
#include "store/types.hpp"

#include <map>
#include <string>

extern Mutex smbiosPCIeSlotObjsMutex;
extern ObjectMap smbiosPCIeSlotObjs;

extern Mutex kovdPCIeSlotObjsMutex;
extern ObjectMap kovdPCIeSlotObjs;

extern Mutex kovdPCIeDeviceObjsMutex;
extern ObjectMap kovdPCIeDeviceObjs;

extern Mutex kovdChassisPathSlotObjsMutex;
extern ObjectMap kovdChassisPathSlotObjs;

extern Mutex smbiosCPUObjsMutex;
extern ObjectMap smbiosCPUObjs;

extern Mutex smbiosCacheObjsMutex;
extern ObjectMap smbiosCacheObjs;

extern Mutex kovdCPUObjsMutex;
extern ObjectMap kovdCPUObjs;

/** KOVD processor path to the list last handed over for it; whether the write succeeds is not
 * known. */
using AssociationLists = std::map<std::string, AssociationList, std::less<>>;

extern Mutex CPUKOVDAssocTuplesMutex;
extern AssociationLists CPUKOVDAssocTuples GUARDED_BY(CPUKOVDAssocTuplesMutex);
