#pragma once

// Objects made in code, with the properties that real machines report: for tests that need a few,
// and for benches that need thousands.
//
// Slot n of one service and slot n of the other describe the same hardware and match each other; so
// do processor n and its counterpart. Paths carry the number with four digits, so that none is the
// beginning of another.
// Any thread; no shared state.

#include "sim/capture.hpp"
#include "sim/objects.hpp"

#include <cstdint>
#include <string>

namespace sim
{

std::string smbiosSlotPath(unsigned number);
std::string kovdSlotPath(unsigned number);
std::string kovdDevicePath(unsigned slot, unsigned device);
std::string kovdChassisPath(unsigned number);
std::string smbiosCpuPath(unsigned number);
std::string smbiosCachePath(unsigned cpu, unsigned level);
std::string kovdCpuPath(unsigned number);

/** "PCIe Slot n", SlotID n. */
Object makeSmbiosSlot(unsigned number);
/** A slot with a designation and an identifier of its own. */
Object makeSmbiosSlot(unsigned number, const std::string& designation, std::uint16_t slotId);

/** FQDD "Nic.Slot.n-1", locator type 6, instance n. */
Object makeKovdSlot(unsigned number);
Object makeKovdSlot(unsigned number, const std::string& fqdd, std::uint8_t locatorType,
                    std::uint16_t instance);

/** A device in slot `slot`, below its path; devices count from 1. */
Object makeKovdDevice(unsigned slot, unsigned device);

/** The chassis twin of slot n. */
Object makeKovdChassisDevice(unsigned number);

/** Socket "CPUn" with the handles of its three caches; processors count from 1. */
Object makeSmbiosCpu(unsigned number);
/** The cache of a level from 1 to 3; its handle is cacheHandle(cpu, level). */
Object makeSmbiosCache(unsigned cpu, unsigned level);
std::uint16_t cacheHandle(unsigned cpu, unsigned level);

/** SlotNumber n, TargetDevKey "Kov.Socket.n". */
Object makeKovdCpu(unsigned number);

/** Slots 1 to `slots` with one device and one chassis twin each, and processors 1 to `cpus` with
 *  three caches each. */
InventoryCapture makeInventory(unsigned slots, unsigned cpus = 0);

} // namespace sim
