/*
 * How PCIe objects enter and leave the store.
 *
 * The inserts take what a service says of one object (all its properties, or only those that
 * changed), keep what matching needs, merge it into what is stored, and have the object
 * associated. An object that is paired already is left as it is, whatever changed. A property of
 * an unexpected type is logged, stores nothing and requests recovery.
 *
 * Any thread; takes its own lock; runs inside a piece (store/one_piece.hpp). None throws, except
 * std::system_error when the mutex of the recovery request fails; the worker or the discovery that
 * called then logs it.
 */
#pragma once

#include "store/types.hpp"

#include <string>

void InsertSMBIOSPCIeSlotObj(const std::string& path, const ReceivedProperties& received);
void InsertKOVDPCIeSlotObj(const std::string& path, const ReceivedProperties& received);
void InsertKOVDPCIeDevicesObj(const std::string& path, const ReceivedProperties& received);
void InsertKOVDChassisPathSlotObjs(const std::string& path, const ReceivedProperties& received);

/**
 * Forgets an SMBIOS slot and clears the association of the KOVD object paired with it. Objects
 * that were associated without a recorded pair (devices, the chassis twin) keep theirs.
 */
void removeSMBIOSPCIeAssociations(const std::string& path);
