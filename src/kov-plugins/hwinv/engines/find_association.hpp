/*
 * The dispatcher of all association work: every insert hands its object here, and the full PCIe
 * pass starts here.
 *
 * Any thread; takes its own lock. Holds none between two store operations, so a path seen a moment
 * ago may have vanished. Never touches the bus.
 */
#pragma once

#include "engines/association_codes.hpp"

#include <string>

/**
 * Looks for the counterpart of a stored object and hands its association to the main loop. An
 * object that is paired already is left alone. Every outcome is a log line.
 */
void FindAssociation(int sourceCode, int objectType, const std::string& path);

/**
 * The full pass: offers every SMBIOS slot that has no partner to the platform's slots, devices and
 * chassis objects, in path order. Ends early, on purpose, at a slot that has vanished meanwhile:
 * the rest waits for the next pass or event. Never throws.
 */
void AssociateSMBIOSPCIESlotsObjToKOVDObjs();
