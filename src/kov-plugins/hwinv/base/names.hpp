/*
 * The names that the daemon says or listens to on the bus, each once. Not here are the properties
 * that are kept but never matched; they are in the tables that keep them.
 *
 * Views of literals, so `.data()` is a terminated text.
 * Constant after start-up.
 */
#pragma once

#include <string_view>

namespace names
{

// Services
inline constexpr std::string_view ownService = "com.vexa.kesto.kovdSupportService";
inline constexpr std::string_view smbiosService = "xyz.openbmc_project.Smbios.MDRV2";
inline constexpr std::string_view kovdService = "com.vexa.bmc.kovd";
inline constexpr std::string_view busService = "org.freedesktop.DBus";

// Interfaces of the bus and of its objects
inline constexpr std::string_view busInterface = "org.freedesktop.DBus";
inline constexpr std::string_view propertiesInterface = "org.freedesktop.DBus.Properties";
inline constexpr std::string_view objectManagerInterface = "org.freedesktop.DBus.ObjectManager";
inline constexpr std::string_view associationsInterface =
    "xyz.openbmc_project.Association.Definitions";
inline constexpr std::string_view associationsProperty = "Associations";

// Members
inline constexpr std::string_view interfacesAdded = "InterfacesAdded";
inline constexpr std::string_view interfacesRemoved = "InterfacesRemoved";
inline constexpr std::string_view propertiesChanged = "PropertiesChanged";

// Paths: where the two inventories live, and which texts in a path tell an object's kind
inline constexpr std::string_view inventoryPath = "/xyz/openbmc_project/inventory";
inline constexpr std::string_view smbiosSlotPath =
    "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslot";
inline constexpr std::string_view smbiosCpuPath =
    "/xyz/openbmc_project/inventory/system/chassis/motherboard/cpu";
inline constexpr std::string_view smbiosCachePath =
    "/xyz/openbmc_project/inventory/system/chassis/cacheinfo";
inline constexpr std::string_view kovdBoardPath = "/xyz/openbmc_project/inventory/system/board";
inline constexpr std::string_view kovdBoardPciePath =
    "/xyz/openbmc_project/inventory/system/board/pcie";
inline constexpr std::string_view kovdBoardCpuPath =
    "/xyz/openbmc_project/inventory/system/board/cpu";
inline constexpr std::string_view kovdChassisPath = "/xyz/openbmc_project/inventory/system/chassis";
inline constexpr std::string_view kovdChassisPciePath =
    "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcie";

// Interfaces of inventory objects
inline constexpr std::string_view smbiosSlotInterface =
    "xyz.openbmc_project.Inventory.Item.systemSlotInfoType9";
inline constexpr std::string_view smbiosCpuInterface = "xyz.openbmc_project.Inventory.Item.Cpu";
inline constexpr std::string_view smbiosCacheInterface =
    "xyz.openbmc_project.Inventory.Item.CacheInformationType7";
inline constexpr std::string_view kovdSlotInterface =
    "xyz.openbmc_project.Inventory.Item.PCIeSlotDevice";
inline constexpr std::string_view kovdDeviceInterface = "com.vexa.bmc.kovd.OEMPcieInventory";
inline constexpr std::string_view kovdChassisInterface =
    "xyz.openbmc_project.Inventory.Item.PCIeDevice";
inline constexpr std::string_view kovdItemInterface = "xyz.openbmc_project.Inventory.Item";

// Properties that matching reads
inline constexpr std::string_view slotDesignation = "SlotDesignation";
inline constexpr std::string_view slotId = "SlotID";
inline constexpr std::string_view pcieFqdd = "PCIeFQDD";
inline constexpr std::string_view pcieLocatorType = "PCIeLocatorType";
inline constexpr std::string_view pcieLocatorInstanceNum = "PCIeLocatorInstanceNum";
inline constexpr std::string_view fqdd = "FQDD";
inline constexpr std::string_view socket = "Socket";
inline constexpr std::string_view targetDevKey = "TargetDevKey";
inline constexpr std::string_view slotNumber = "SlotNumber";
inline constexpr std::string_view handle = "Handle";
inline constexpr std::string_view l1CacheHandle = "L1CacheHandle";
inline constexpr std::string_view l2CacheHandle = "L2CacheHandle";
inline constexpr std::string_view l3CacheHandle = "L3CacheHandle";

// Forward and reverse names of the associations written
inline constexpr std::string_view chassisAssociation = "chassis";
inline constexpr std::string_view slotAssociation = "pcieslot";
inline constexpr std::string_view processorAssociation = "processor";
inline constexpr std::string_view cacheAssociation = "cache";

} // namespace names
