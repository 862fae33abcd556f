/*
 * Objects as the two services publish them, with the properties that matching reads, and one
 * value of every type that a property can have. Values only; any thread.
 */
#pragma once

#include "store/property_map.hpp"

#include <cstdint>
#include <string>
#include <string_view>
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
PropertyMap with(PropertyMap properties, PropertyName name, PropertyValue value);
PropertyMap without(const PropertyMap& properties, std::string_view name);

/** The properties of two objects that share no name. */
PropertyMap both(PropertyMap one, const PropertyMap& other);

/** The same properties as a message brings them. */
ReceivedProperties received(const PropertyMap& properties);

/** Those of them that any insert keeps, as the store has them. */
PropertyMap kept(const ReceivedProperties& properties);

} // namespace sample
