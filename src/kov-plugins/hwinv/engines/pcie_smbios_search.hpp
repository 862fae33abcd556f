/*
 * From one KOVD object to its SMBIOS slot: the stored slots are compared in path order, and the
 * first match wins.
 *
 * Any thread; takes its own lock. Neither function throws.
 */
#pragma once

#include "engines/match_keys.hpp"

#include <string>

/**
 * Searches for a stored KOVD slot, slot device or chassis object (`objectType` of
 * association_codes.hpp). An object that is not stored, has no properties or is of another type is
 * logged.
 */
void IterateSMBIOSObjs(const std::string& kovdPath, int objectType);

/**
 * Pairs the KOVD object with the first SMBIOS slot that matches and hands its association to the
 * main loop, also when the pair is refused because one of the two is paired already. A slot that
 * has vanished meanwhile ends the search: no slot behind it is compared.
 */
void IterateSMBIOSPCISlotObjs(const Side& kovd, const std::string& kovdPath);
