/*
 * Whether an SMBIOS object and a KOVD object stand for the same hardware: the one decision that
 * every association rests on. No store, no lock, no bus; any thread.
 */
#pragma once

#include "engines/verdict.hpp"
#include "store/property_map.hpp"

#include <cstdint>
#include <string>
#include <string_view>

/** Which pair of objects CompareAssociationProperties compares: SMBIOS object / KOVD object. */
namespace compare
{
inline constexpr int slotForKovd = 1;   // slot / slot, the search started from a KOVD object
inline constexpr int slotForSmbios = 2; // slot / slot, the search started from an SMBIOS slot
inline constexpr int slotDevice = 3;    // slot / slot device
inline constexpr int cpu = 5;           // processor / processor
inline constexpr int cpuAlias = 7;      // the same
} // namespace compare

/** What PCIeLocatorType says of a KOVD slot. */
namespace locator
{
inline constexpr std::uint8_t slot = 6;
inline constexpr std::uint8_t driveBay = 9;
} // namespace locator

/**
 * True when the two property maps describe the same slot or socket. A missing or empty property is
 * no match; so is any other interface type. Never throws: a property of an unexpected type or a
 * number that is out of range is logged and is no match.
 */
Verdict CompareAssociationProperties(const PropertyMap& smbios, const PropertyMap& kovd,
                                     int interfaceType);

/**
 * The slot rule: does the designation of an SMBIOS slot, such as "PCIe SLOT 3", name the slot of
 * the KOVD descriptor, such as "NIC.Slot.3-1"? Logs what it compares. Throws std::out_of_range
 * when the designation's slot number does not fit an int.
 */
Verdict matchFQDD(std::string_view designation, std::string_view fqdd);

/**
 * The drive-bay rule: does the designation, such as "SLOT 3 BAY 1", name the bay of the KOVD
 * descriptor, such as "Disk.Bay.3:Enclosure.Internal.0-1"? Throws as matchFQDD does.
 */
Verdict matchDiskBay(std::string_view designation, std::string_view fqdd);

/** How two slot numbers compare (-1: none): the word for the log, and the answer. */
struct SlotVerdict
{
    const char* text;
    Verdict verdict;
};
SlotVerdict compareSlots(int smbiosSlot, int fqddSlot);

/**
 * Rewrites an object path onto the board's inventory: the board path with the leaf of `path`.
 * False, with `boardPath` left as it was, when the path is empty, has no "/" or ends in one. The
 * two must not overlap.
 */
bool convertPath(std::string_view path, std::string& boardPath);
