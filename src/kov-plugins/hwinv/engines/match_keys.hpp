/*
 * Refusing a slot or a device without opening its properties.
 *
 * Nearly all comparisons of a search end at the slot identifier or at the slot number. Both are
 * read once, when an object is stored (StoredObject::keys). A key is kept only where the rule that
 * compares it could do nothing else with these properties: each has its type, each text can be
 * read. All the rest, which is what is missing or mistyped, what the rule logs as an error, and
 * drive bays, is left to CompareAssociationProperties.
 *
 * No store, no lock, no bus; any thread.
 */
#pragma once

#include "base/log.hpp"
#include "engines/match.hpp"
#include "store/object_map.hpp"

/** Each throws std::bad_alloc when memory runs out. */
MatchKeys keysOfSmbiosSlot(const PropertyMap& smbios);
MatchKeys keysOfKovdSlot(const PropertyMap& kovd);
MatchKeys keysOfKovdDevice(const PropertyMap& kovd);

/**
 * True when the keys alone tell that CompareAssociationProperties would refuse the two objects and
 * write no line at the present level. False tells nothing. The type is one of a slot.
 */
inline bool keysRefuse(const MatchKeys& smbios, const MatchKeys& kovd, int interfaceType)
{
    if (interfaceType != compare::slotDevice) // a device has no identifier
    {
        if (!smbios.identifier || !kovd.identifier)
        {
            return false;
        }
        if (*smbios.identifier != *kovd.identifier)
        {
            return true;
        }
    }
    // The rule logs both texts before it compares their numbers.
    return !dlog_enabled(level::info) && smbios.number && kovd.number &&
           *smbios.number != *kovd.number;
}

/** One side of a comparison: a stored object with its keys, or bare properties, which have none. */
struct Side
{
    Side(const PropertyMap& map) : properties(map) {}
    Side(const StoredObject& object) : properties(object.properties), keys(object.keys) {}

    const PropertyMap& properties;
    MatchKeys keys = {};
};

/** What CompareAssociationProperties answers and logs, asked only where the keys do not tell. */
inline bool sidesMatch(const Side& smbios, const Side& kovd, int interfaceType)
{
    return !keysRefuse(smbios.keys, kovd.keys, interfaceType) &&
           CompareAssociationProperties(smbios.properties, kovd.properties, interfaceType);
}
