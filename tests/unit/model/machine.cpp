#include "machine.hpp"

#include <array>
#include <ostream>

namespace
{

using machine::Event;
using machine::Kind;
using machine::Property;
using std::string;

const string inventory = "/xyz/openbmc_project/inventory/system/";
const string motherboard = inventory + "chassis/motherboard/";
const string board = inventory + "board/";

constexpr std::array<const char*, machine::kindCount> kindNames = {
    "SMBIOS slot", "KOVD slot",    "KOVD device", "KOVD chassis object",
    "SMBIOS CPU",  "SMBIOS cache", "KOVD CPU",
};

PropertyValue word(int value)
{
    return static_cast<std::uint16_t>(value);
}

PropertyValue byte(int value)
{
    return static_cast<std::uint8_t>(value);
}

PropertyValue text(const char* value)
{
    return string{value};
}

std::vector<PropertyValue> texts(std::initializer_list<const char*> all)
{
    std::vector<PropertyValue> values;
    for (const char* value : all)
    {
        values.push_back(text(value));
    }
    return values;
}

const std::vector<PropertyValue> words = {word(0), word(1), word(2), word(10)};
const std::vector<PropertyValue> bytes = {byte(0), byte(1)};
const std::vector<PropertyValue> handles = {word(0), word(1), word(2), word(3)};

std::vector<Property> smbiosSlotProperties()
{
    return {
        {"SlotDesignation",
         texts({"PCIe SLOT 1", "PCIe SLOT 2", "PCIe SLOT 10", "slot 2", "SLOT 1 BAY 2",
                "Slot 02 gpu", "RISER", "", "PCIe SLOT 99999999999", "BAY 2 SLOT 10"})},
        {"SlotID", words},
        {"BusNumber", bytes},
    };
}

std::vector<Property> kovdSlotProperties()
{
    return {
        {"PCIeFQDD", texts({"NIC.Slot.1-1", "NIC.Slot.2-1", "NIC.Slot.10-1",
                            "PCIeSlotPlaceholder.Slot.2", "GPU.SLOT.02", "NIC.Slot.x", "NIC.Slot",
                            "Disk.Bay.1:Enclosure.Internal.0-2", "NIC.Embedded.1-1", ""})},
        {"PCIeLocatorType", {byte(6), byte(6), byte(9), byte(3)}},
        {"PCIeLocatorInstanceNum", words},
        {"PCIClassCode", bytes},
        {"PCIeSubsystemId", words},
        {"PCIeSubsystemVendorId", words},
    };
}

std::vector<Property> kovdDeviceProperties()
{
    return {
        {"FQDD", texts({"NIC.Slot.1-1-1", "NIC.Slot.2-1-1", "NIC.Slot.10-1-1",
                        "Disk.Bay.1:Enclosure.Internal.0-2", "Disk.Bay.10:Enclosure.Internal.0-2",
                        "Disk.Bay.1", "Disk.Bay.1:Enclosure", "GPU.Slot.2", "GPU", ""})},
        {"P2PSubsystemVendorID", words},
        {"P2PSubsystemID", words},
        {"Bus", bytes},
    };
}

std::vector<Property> kovdChassisProperties()
{
    return {
        {"Function0ClassCode", texts({"0x02", "0x03"})},
        {"Function0SubsystemVendorId", texts({"0x8086", ""})},
        {"Function0SubsystemId", texts({"0x0001"})},
    };
}

std::vector<Property> smbiosCpuProperties()
{
    return {
        {"Socket", texts({"CPU1", "cpu2", "CPU3", ""})},
        {"L1CacheHandle", handles},
        {"L2CacheHandle", handles},
        {"L3CacheHandle", handles},
    };
}

std::vector<Property> kovdCpuProperties()
{
    return {
        {"TargetDevKey", texts({"CPU.Socket.1", "CPU.Socket.2", "CPU.Socket.3", "CPU.Socket.01",
                                "CPU.Socket", ""})},
        {"SlotNumber", {word(1), word(2), word(3)}},
    };
}

/** The numbers that the machine's slots carry. */
int slotNumber(int number)
{
    return number == 3 ? 10 : number;
}

} // namespace

const std::vector<string>& machine::pathsOf(Kind kind)
{
    static const std::array<std::vector<string>, kindCount> paths = {{
        {motherboard + "pcieslot1", motherboard + "pcieslot2", motherboard + "pcieslot10"},
        {board + "pcie_slot1", board + "pcie_slot2", board + "pcie_slot10"},
        {board + "pcie_slot1/nic", board + "pcie_slot2/nic", board + "pcie_slot10/nic",
         board + "pcie_spare", "rootless"},
        {motherboard + "pcie_slot1", motherboard + "pcie_slot2", motherboard + "pcie_slot10",
         motherboard + "pcie_slot10/", motherboard + "pcie_nic"},
        {motherboard + "cpu1", motherboard + "cpu2", motherboard + "cpu3"},
        {inventory + "chassis/cacheinfo/cache1", inventory + "chassis/cacheinfo/cache2",
         inventory + "chassis/cacheinfo/cache3", inventory + "chassis/cacheinfo/cache4"},
        {board + "cpu1", board + "cpu2", board + "cpu3"},
    }};
    return paths[static_cast<std::size_t>(kind)];
}

const std::vector<Property>& machine::propertiesOf(Kind kind)
{
    static const std::array<std::vector<Property>, kindCount> properties = {
        smbiosSlotProperties(),  kovdSlotProperties(),  kovdDeviceProperties(),
        kovdChassisProperties(), smbiosCpuProperties(), {{"Handle", handles}},
        kovdCpuProperties(),
    };
    return properties[static_cast<std::size_t>(kind)];
}

ReceivedProperties machine::wholeObject(Kind kind, int number)
{
    const int slot = slotNumber(number);
    const string slotText = std::to_string(slot);
    switch (kind)
    {
        case Kind::smbiosSlot:
            return {{"SlotDesignation", "PCIe SLOT " + slotText},
                    {"SlotID", word(slot)},
                    {"BusNumber", byte(number)}};
        case Kind::kovdSlot:
            return {{"PCIeFQDD", "NIC.Slot." + slotText + "-1"},
                    {"PCIeLocatorType", byte(6)},
                    {"PCIeLocatorInstanceNum", word(slot)}};
        case Kind::kovdDevice:
            return {{"FQDD", "NIC.Slot." + slotText + "-1-1"}, {"Bus", byte(number)}};
        case Kind::kovdChassis:
            return {{"Function0ClassCode", text("0x02")}};
        case Kind::smbiosCpu:
            return {{"Socket", "CPU" + std::to_string(number)},
                    {"L1CacheHandle", word(1)},
                    {"L2CacheHandle", word(2)},
                    {"L3CacheHandle", word(3)}};
        case Kind::smbiosCache:
            return {{"Handle", word(number < 4 ? number : 3)}};
        case Kind::kovdCpu:
            return {{"TargetDevKey", "CPU.Socket." + std::to_string(number)},
                    {"SlotNumber", word(number)}};
    }
    return {};
}

const string& machine::interfaceOf(Kind kind)
{
    static const std::array<string, kindCount> interfaces = {
        "xyz.openbmc_project.Inventory.Item.systemSlotInfoType9",
        "xyz.openbmc_project.Inventory.Item.PCIeSlotDevice",
        "com.vexa.bmc.kovd.OEMPcieInventory",
        "xyz.openbmc_project.Inventory.Item.PCIeDevice",
        "xyz.openbmc_project.Inventory.Item.Cpu",
        "xyz.openbmc_project.Inventory.Item.CacheInformationType7",
        "xyz.openbmc_project.Inventory.Item",
    };
    return interfaces[static_cast<std::size_t>(kind)];
}

string machine::shown(const ReceivedProperties& properties)
{
    string text;
    for (const auto& [name, value] : properties)
    {
        text += (text.empty() ? "" : ", ") + name + "=";
        if (const auto* number = std::get_if<std::uint16_t>(&value))
        {
            text += std::to_string(*number);
        }
        else if (const auto* small = std::get_if<std::uint8_t>(&value))
        {
            text += std::to_string(*small);
        }
        else if (const auto* string = std::get_if<std::string>(&value))
        {
            text += '"' + *string + '"';
        }
        else
        {
            text += "type " + std::to_string(value.index());
        }
    }
    return text;
}

std::ostream& machine::operator<<(std::ostream& out, const Event& event)
{
    switch (event.type)
    {
        case Event::Type::insert:
            out << "insert " << kindNames[static_cast<std::size_t>(event.kind)] << " "
                << event.path;
            break;
        case Event::Type::removal:
            out << "remove " << kindNames[static_cast<std::size_t>(event.kind)] << " "
                << event.path;
            break;
        case Event::Type::kovdRemoval:
            out << "record of a removal at " << event.path;
            break;
        case Event::Type::pciePass:
            out << "full PCIe pass";
            break;
        case Event::Type::cpuPass:
            out << "full CPU pass";
            break;
    }
    if (!event.properties.empty())
    {
        out << ", " << shown(event.properties);
    }
    for (const string& interface : event.interfaces)
    {
        out << ", " << interface;
    }
    if (event.handOverResult != 0)
    {
        out << ", hand-overs fail with " << event.handOverResult;
    }
    return out;
}
