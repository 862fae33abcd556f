#include "doubles/sample_objects.hpp"

#include <utility>

PropertyMap sample::smbiosSlot(const std::string& designation, std::uint16_t slotId)
{
    return {{"SlotDesignation", designation}, {"SlotID", slotId}};
}

PropertyMap sample::kovdSlot(const std::string& fqdd, std::uint16_t instance,
                             std::uint8_t locatorType)
{
    return {
        {"PCIeFQDD", fqdd}, {"PCIeLocatorInstanceNum", instance}, {"PCIeLocatorType", locatorType}};
}

PropertyMap sample::kovdDevice(const std::string& fqdd)
{
    return {{"FQDD", fqdd}};
}

PropertyMap sample::kovdChassisObject()
{
    return {{"Function0ClassCode", std::string{"0x020000"}}};
}

PropertyMap sample::smbiosCpu(const std::string& socket)
{
    return {{"Socket", socket}};
}

PropertyMap sample::kovdCpu(const std::string& targetDevKey, std::uint16_t slotNumber)
{
    return {{"TargetDevKey", targetDevKey}, {"SlotNumber", slotNumber}};
}

const std::vector<PropertyValue>& sample::everyType()
{
    static const std::vector<PropertyValue> values = {
        std::vector<std::string>{},
        std::string{"text"},
        std::int64_t{1},
        std::uint64_t{1},
        1.0,
        std::int32_t{1},
        std::uint32_t{1},
        std::int16_t{1},
        std::uint16_t{1},
        std::uint8_t{1},
        true,
        std::vector<std::uint8_t>{1},
        AssociationList{{"chassis", "pcieslot", "/endpoint"}},
    };
    return values;
}

PropertyMap sample::with(PropertyMap properties, PropertyName name, PropertyValue value)
{
    properties.insert_or_assign(name, std::move(value));
    return properties;
}

PropertyMap sample::without(const PropertyMap& properties, std::string_view name)
{
    PropertyMap others;
    for (const auto& [other, value] : properties)
    {
        if (!(other == name))
        {
            others.insert_or_assign(other, value);
        }
    }
    return others;
}

PropertyMap sample::both(PropertyMap one, const PropertyMap& other)
{
    for (const auto& [name, value] : other)
    {
        one.insert_or_assign(name, value);
    }
    return one;
}

ReceivedProperties sample::received(const PropertyMap& properties)
{
    ReceivedProperties received;
    for (const auto& [name, value] : properties)
    {
        received.emplace(name, value);
    }
    return received;
}

PropertyMap sample::kept(const ReceivedProperties& properties)
{
    constexpr PropertyName names[] = {
        "BusNumber",
        "SlotDesignation",
        "SlotID",
        "PCIClassCode",
        "PCIeFQDD",
        "PCIeLocatorInstanceNum",
        "PCIeLocatorType",
        "PCIeSubsystemId",
        "PCIeSubsystemVendorId",
        "Bus",
        "FQDD",
        "P2PSubsystemID",
        "P2PSubsystemVendorID",
        "Function0ClassCode",
        "Function0SubsystemId",
        "Function0SubsystemVendorId",
        "L1CacheHandle",
        "L2CacheHandle",
        "L3CacheHandle",
        "Socket",
        "Handle",
        "SlotNumber",
        "TargetDevKey",
    };
    PropertyMap kept;
    for (const PropertyName name : names)
    {
        if (const auto at = properties.find(std::string_view(name)); at != properties.end())
        {
            kept.insert_or_assign(name, at->second);
        }
    }
    return kept;
}
