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

PropertyMap sample::with(PropertyMap properties, const std::string& name, PropertyValue value)
{
    properties.insert_or_assign(name, std::move(value));
    return properties;
}

PropertyMap sample::without(PropertyMap properties, const std::string& name)
{
    properties.erase(name);
    return properties;
}
