#pragma once

// The bus names, paths, interfaces, properties and errors that the simulator plays or speaks to,
// and the files of an inventory folder. Constant after start-up.

namespace sim::names
{

inline constexpr const char* smbiosService = "xyz.openbmc_project.Smbios.MDRV2";
inline constexpr const char* kovdService = "com.vexa.bmc.kovd";

inline constexpr const char* smbiosRoot = "/xyz/openbmc_project/inventory";
inline constexpr const char* boardRoot = "/xyz/openbmc_project/inventory/system/board";
inline constexpr const char* chassisRoot = "/xyz/openbmc_project/inventory/system/chassis";

inline constexpr const char* smbiosSlot = "xyz.openbmc_project.Inventory.Item.systemSlotInfoType9";
inline constexpr const char* smbiosCpu = "xyz.openbmc_project.Inventory.Item.Cpu";
inline constexpr const char* smbiosCache =
    "xyz.openbmc_project.Inventory.Item.CacheInformationType7";
inline constexpr const char* kovdSlot = "xyz.openbmc_project.Inventory.Item.PCIeSlotDevice";
inline constexpr const char* kovdDevice = "com.vexa.bmc.kovd.OEMPcieInventory";
inline constexpr const char* kovdChassisDevice = "xyz.openbmc_project.Inventory.Item.PCIeDevice";
inline constexpr const char* item = "xyz.openbmc_project.Inventory.Item";
inline constexpr const char* associationDefinitions = "xyz.openbmc_project.Association.Definitions";
inline constexpr const char* associations = "Associations";

inline constexpr const char* objectManager = "org.freedesktop.DBus.ObjectManager";
inline constexpr const char* properties = "org.freedesktop.DBus.Properties";
inline constexpr const char* introspectable = "org.freedesktop.DBus.Introspectable";
inline constexpr const char* peer = "org.freedesktop.DBus.Peer";

inline constexpr const char* unknownObject = "org.freedesktop.DBus.Error.UnknownObject";
inline constexpr const char* unknownInterface = "org.freedesktop.DBus.Error.UnknownInterface";
inline constexpr const char* unknownMethod = "org.freedesktop.DBus.Error.UnknownMethod";
inline constexpr const char* unknownProperty = "org.freedesktop.DBus.Error.UnknownProperty";
inline constexpr const char* propertyReadOnly = "org.freedesktop.DBus.Error.PropertyReadOnly";
inline constexpr const char* invalidArguments = "org.freedesktop.DBus.Error.InvalidArgs";
inline constexpr const char* failed = "org.freedesktop.DBus.Error.Failed";

inline constexpr const char* smbiosFile = "smbios.json";
inline constexpr const char* boardFile = "kovd-board.json";
inline constexpr const char* chassisFile = "kovd-chassis.json";

} // namespace sim::names
