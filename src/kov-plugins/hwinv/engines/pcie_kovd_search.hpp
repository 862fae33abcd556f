/*
 * From one SMBIOS slot to the platform objects that belong to it: the slot object, then every
 * device in it, then its twin on the chassis path.
 *
 * All three hand over the same association. Only the first pair of an SMBIOS slot can be recorded,
 * normally the one with its slot object; the pairs of its devices and of its twin are offered,
 * refused and logged, and their associations are written all the same.
 *
 * Any thread; takes its own lock.
 */
#pragma once

#include "engines/match_keys.hpp"

#include <string>

/** Serves object_type::smbiosSlot; anything else is logged. Never throws. */
void IterateKOVDObjs(const std::string& smbiosPath, int objectType);

/** The three searches in their order, sharing the path of the slot that the first one matches. */
void IterateKOVDObjectsOfSlot(const Side& smbios, const std::string& smbiosPath);

/**
 * Associates the first KOVD slot, in path order, that matches; `matchedSlotPath` becomes its path
 * and stays as it was when none does. Throws std::bad_alloc when memory runs out.
 */
void IterateKOVDPCIeSlotObjs(std::string& matchedSlotPath, const Side& smbios,
                             const std::string& smbiosPath);

/**
 * Associates every device whose path contains `matchedSlotPath` (plain text, so slot1 also takes
 * the devices of slot10) and every other device that matches by its own descriptor. Never throws.
 */
void IterateKOVDPCIeSlotDeviceObjs(const std::string& matchedSlotPath, const Side& smbios,
                                   const std::string& smbiosPath);

/**
 * Associates the chassis object with the same leaf as `matchedSlotPath`. A chassis path that has no
 * leaf ends the search: no path behind it is looked at. Never throws.
 */
void IterateKOVDPCIeSlotObjsChassisPath(const std::string& matchedSlotPath, const Side& smbios,
                                        const std::string& smbiosPath);
