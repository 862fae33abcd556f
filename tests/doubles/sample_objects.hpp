/*
 * Objects as the two services publish them, with the properties that matching reads, and one
 * value of every type that a property can have. Values only; any thread.
 */
#pragma once

#include "store/types.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace sample
{

PropertyMap smbiosSlot(const std::string& designation, std::uint16_t slotId);

/** Locator type 6 is a slot, 9 is a drive bay. */
PropertyMap kovdSlot(const std::string& fqdd, std::uint16_t instance, std::uint8_t locatorType = 6);
PropertyMap kovdDevice(const std::string& fqdd);
PropertyMap kovdChassisObject();

PropertyMap smbiosCpu(const std::string& socket);
PropertyMap kovdCpu(const std::string& targetDevKey, std::uint16_t slotNumber);

/** One value of each alternative, in the order of the alternatives. */
const std::vector<PropertyValue>& everyType();

/** What PropertyMap::insert_or_assign does, as an expression. */
PropertyMap with(PropertyMap properties, const std::string& name, PropertyValue value);
PropertyMap without(PropertyMap properties, const std::string& name);

} // namespace sample
