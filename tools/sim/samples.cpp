#include "sim/samples.hpp"

#include "sim/names.hpp"

#include <cstdio>

namespace sim
{
namespace
{

constexpr unsigned cacheLevels = 3;

std::string padded(unsigned number)
{
    char text[16];
    std::snprintf(text, sizeof text, "%04u", number);
    return text;
}

std::string numbered(const std::string& path, unsigned number)
{
    return path + padded(number);
}

} // namespace

std::string smbiosSlotPath(unsigned number)
{
    return numbered("/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslot", number);
}

std::string kovdSlotPath(unsigned number)
{
    return numbered("/xyz/openbmc_project/inventory/system/board/pcie_slot_", number);
}

std::string kovdDevicePath(unsigned slot, unsigned device)
{
    return kovdSlotPath(slot) + "/device" + std::to_string(device);
}

std::string kovdChassisPath(unsigned number)
{
    return numbered("/xyz/openbmc_project/inventory/system/chassis/motherboard/pcie_slot_", number);
}

std::string smbiosCpuPath(unsigned number)
{
    return "/xyz/openbmc_project/inventory/system/chassis/motherboard/cpu" + std::to_string(number);
}

std::string smbiosCachePath(unsigned cpu, unsigned level)
{
    return "/xyz/openbmc_project/inventory/system/chassis/cacheinfo/cpu" + std::to_string(cpu) +
           "_l" + std::to_string(level);
}

std::string kovdCpuPath(unsigned number)
{
    return "/xyz/openbmc_project/inventory/system/board/cpu" + std::to_string(number);
}

Object makeSmbiosSlot(unsigned number)
{
    return makeSmbiosSlot(number, "PCIe Slot " + std::to_string(number),
                          static_cast<std::uint16_t>(number));
}

Object makeSmbiosSlot(unsigned number, const std::string& designation, std::uint16_t slotId)
{
    const Properties slot{
        {"SlotDesignation", Value::string(designation)},
        {"SlotID", Value::uint16(slotId)},
        {"SlotType", Value::byte(0xB6)},
        {"SlotDataBusWidth", Value::byte(0x0D)},
        {"CurrentUsage", Value::byte(0x04)},
        {"SlotLength", Value::byte(0x04)},
        {"SlotCharacteristics1", Value::byte(0x0C)},
        {"SlotCharacteristics2", Value::byte(0x01)},
        {"SegmentGroupNumber", Value::uint16(0)},
        {"BusNumber", Value::byte(static_cast<std::uint8_t>(number % 256))},
        {"DeviceFunctionNumber", Value::byte(0)},
        {"Handle", Value::uint16(static_cast<std::uint16_t>(0x0900 + number))},
    };
    return {smbiosSlotPath(number), {{names::smbiosSlot, slot}}};
}

Object makeKovdSlot(unsigned number)
{
    return makeKovdSlot(number, "Nic.Slot." + std::to_string(number) + "-1", 6,
                        static_cast<std::uint16_t>(number));
}

Object makeKovdSlot(unsigned number, const std::string& fqdd, std::uint8_t locatorType,
                    std::uint16_t instance)
{
    const Properties slot{
        {"PCIeFQDD", Value::string(fqdd)},
        {"PCIeLocatorType", Value::byte(locatorType)},
        {"PCIeLocatorInstanceNum", Value::uint16(instance)},
        {"PCIClassCode", Value::byte(0x02)},
        {"PCIeVendorId", Value::uint16(0x7A01)},
        {"PCIeDeviceId", Value::uint16(0x1021)},
        {"PCIeSubsystemVendorId", Value::uint16(0x7A01)},
        {"PCIeSubsystemId", Value::uint16(0x0102)},
        {"PrettyName", Value::string("PCIe slot " + std::to_string(number))},
        {"Present", Value::boolean(true)},
    };
    return {kovdSlotPath(number), {{names::kovdSlot, slot}}};
}

Object makeKovdDevice(unsigned slot, unsigned device)
{
    const std::string fqdd =
        "Nic.Slot." + std::to_string(slot) + "-" + std::to_string(device) + "-1";
    const Properties properties{
        {"FQDD", Value::string(fqdd)},
        {"P2PVendorID", Value::uint16(0x7A01)},
        {"P2PDeviceID", Value::uint16(0x1021)},
        {"P2PSubsystemVendorID", Value::uint16(0x7A01)},
        {"P2PSubsystemID", Value::uint16(0x0102)},
        {"Bus", Value::byte(static_cast<std::uint8_t>(slot % 256))},
        {"Device", Value::byte(0)},
        {"Function", Value::byte(static_cast<std::uint8_t>(device - 1))},
    };
    return {kovdDevicePath(slot, device), {{names::kovdDevice, properties}}};
}

Object makeKovdChassisDevice(unsigned number)
{
    const Properties device{
        {"DeviceType", Value::string("SingleFunction")},
        {"Function0ClassCode", Value::string("0x020000")},
        {"Function0DeviceId", Value::string("0x1021")},
        {"Function0VendorId", Value::string("0x7a01")},
        {"Function0SubsystemId", Value::string("0x0102")},
        {"Function0SubsystemVendorId", Value::string("0x7a01")},
        {"Manufacturer", Value::string("Orrin Networks")},
    };
    return {kovdChassisPath(number), {{names::kovdChassisDevice, device}}};
}

Object makeSmbiosCpu(unsigned number)
{
    const Properties cpu{
        {"Socket", Value::string("CPU" + std::to_string(number))},
        {"Family", Value::string("Server processor")},
        {"Manufacturer", Value::string("Tarn Semiconductor")},
        {"PartNumber", Value::string("TS-6440")},
        {"MaxSpeedInMhz", Value::uint32(3600)},
        {"CoreCount", Value::uint16(32)},
        {"ThreadCount", Value::uint16(64)},
        {"L1CacheHandle", Value::uint16(cacheHandle(number, 1))},
        {"L2CacheHandle", Value::uint16(cacheHandle(number, 2))},
        {"L3CacheHandle", Value::uint16(cacheHandle(number, 3))},
    };
    return {smbiosCpuPath(number), {{names::smbiosCpu, cpu}}};
}

std::uint16_t cacheHandle(unsigned cpu, unsigned level)
{
    return static_cast<std::uint16_t>(0x0700 + cpu * 16 + level);
}

Object makeSmbiosCache(unsigned cpu, unsigned level)
{
    const Properties cache{
        {"Handle", Value::uint16(cacheHandle(cpu, level))},
        {"SocketDesignation", Value::string("CPU Internal L" + std::to_string(level))},
        {"CacheConfiguration", Value::uint16(static_cast<std::uint16_t>(0x0180 + level - 1))},
        {"InstalledSize", Value::uint32(level * 2048)},
        {"MaximumCacheSize", Value::uint32(level * 2048)},
        {"CacheSpeed", Value::byte(0)},
    };
    return {smbiosCachePath(cpu, level), {{names::smbiosCache, cache}}};
}

Object makeKovdCpu(unsigned number)
{
    const Properties cpu{
        {"TargetDevKey", Value::string("Kov.Socket." + std::to_string(number))},
        {"SlotNumber", Value::uint16(static_cast<std::uint16_t>(number))},
        {"PrettyName", Value::string("Processor " + std::to_string(number))},
        {"Present", Value::boolean(true)},
    };
    return {kovdCpuPath(number), {{names::item, cpu}}};
}

InventoryCapture makeInventory(unsigned slots, unsigned cpus)
{
    InventoryCapture inventory;
    for (unsigned number = 1; number <= slots; ++number)
    {
        inventory.smbios.insert(makeSmbiosSlot(number));
        inventory.kovd.insert(makeKovdSlot(number));
        inventory.kovd.insert(makeKovdDevice(number, 1));
        inventory.kovd.insert(makeKovdChassisDevice(number));
    }
    for (unsigned number = 1; number <= cpus; ++number)
    {
        inventory.smbios.insert(makeSmbiosCpu(number));
        inventory.kovd.insert(makeKovdCpu(number));
        for (unsigned level = 1; level <= cacheLevels; ++level)
        {
            inventory.smbios.insert(makeSmbiosCache(number, level));
        }
    }
    return inventory;
}

} // namespace sim
