/*
 * The dispatcher of all association work: every insert hands its object here, and the full PCIe
 * pass starts here.
 *
 * Any thread: the workers, the recovery thread, and main during start-up. Holds no lock between
 * two store operations, so a path seen a moment ago may have vanished. Never touches the bus.
 */
#pragma once

#include <string>

/** Who speaks: the first argument of FindAssociation. */
namespace source
{
inline constexpr int kovd = 1;
inline constexpr int smbios = 2;
inline constexpr int fullPass = 3;
} // namespace source

/** What kind of object the path names: the second argument of FindAssociation. */
namespace object_type
{
inline constexpr int smbiosSlot = 1;
inline constexpr int kovdSlot = 2;
inline constexpr int kovdSlotDevice = 3;
inline constexpr int kovdChassisSlot = 4;
inline constexpr int smbiosCpu = 5;
inline constexpr int smbiosCache = 6;
inline constexpr int kovdCpu = 7;
} // namespace object_type

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
