/*
 * The dispatcher of all association work: every insert hands its object here, and the full PCIe
 * pass starts here.
 *
 * Any thread; takes its own lock. Never touches the bus. An object is dispatched inside the piece
 * that stored it (store/one_piece.hpp); the full pass begins a piece for each of its steps, so a
 * path seen at its start may have vanished meanwhile.
 */
#pragma once

#include "engines/association_codes.hpp"
#include "store/one_piece.hpp"

#include <string>

/**
 * Looks for the counterpart of a stored object and hands its association to the main loop. An
 * object that is paired already is left alone. Every outcome is a log line.
 *
 * source::fullPass runs the full pass and is the only source that begins pieces: nobody may ask for
 * it with pieceMutex held. The daemon itself calls the pass directly.
 */
void FindAssociation(int sourceCode, int objectType, const std::string& path);

/**
 * The full pass: offers every SMBIOS slot that has no partner to the platform's slots, devices and
 * chassis objects, in path order, each as one piece. A slot that has vanished meanwhile ends the
 * pass: the rest waits for the next pass or event. Never throws.
 */
void AssociateSMBIOSPCIESlotsObjToKOVDObjs() EXCLUDES(pieceMutex);
