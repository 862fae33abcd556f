#include "engines/pcie_smbios_search.hpp"

#include "base/log.hpp"
#include "bus/association_writer.hpp"
#include "engines/association_codes.hpp"
#include "engines/candidates.hpp"
#include "engines/match.hpp"
#include "engines/slot_association.hpp"
#include "store/store.hpp"

#include <exception>

namespace
{

/** The map that holds KOVD objects of the type; null for any other type. */
const ObjectMap* kovdObjects(int objectType)
{
    switch (objectType)
    {
        case object_type::kovdSlot:
            return &kovdPCIeSlotObjs;
        case object_type::kovdSlotDevice:
            return &kovdPCIeDeviceObjs;
        case object_type::kovdChassisSlot:
            return &kovdChassisPathSlotObjs;
        default:
            return nullptr;
    }
}

void recordMatch(const Site& site, const std::string& smbiosPath, const std::string& kovdPath)
{
    if (addAssociationPair(smbiosPath, kovdPath))
    {
        LOG_AT(site, trace::info, "Association added successfully");
        LOG_AT(site, trace::info, "smbios %s", smbiosPath.c_str());
        LOG_AT(site, trace::info, "kovd %s", kovdPath.c_str());
        return;
    }
    // One of the two is paired already; the association is written all the same.
    LOG_AT(site, trace::info, "Association not added successfully %s", kovdPath.c_str());
}

} // namespace

void IterateSMBIOSObjs(const std::string& kovdPath, int objectType)
try
{
    const ObjectMap* objects = kovdObjects(objectType);
    const SharedObject object = objects == nullptr ? nullptr : objects->findObject(kovdPath);
    if (!object || object->properties.empty())
    {
        UTIL_LOG(trace::error, "KOVD object not found for objPath: %s", kovdPath.c_str());
        return;
    }
    IterateSMBIOSPCISlotObjs(object->properties, kovdPath);
}
catch (const std::exception& e)
{
    UTIL_LOG(trace::error, "Exception in IterateSMBIOSObjs: %s", e.what());
}
catch (...)
{
    UTIL_LOG(trace::error, "Unknown Exception in IterateSMBIOSObjs");
}

void IterateSMBIOSPCISlotObjs(const PropertyMap& kovdProperties, const std::string& kovdPath)
try
{
    for (const auto [smbiosPath, slot] : Candidates(smbiosPCIeSlotObjs))
    {
        const CandidateState state = examine(UTIL_SITE, "SMBIOS", smbiosPath, slot);
        if (state == CandidateState::vanished)
        {
            return; // on purpose: no further candidate is tried
        }
        if (state == CandidateState::empty)
        {
            continue;
        }
        // Whatever kind of KOVD object asks, it is compared as a slot: a device without the
        // slot's own properties finds nothing here.
        if (!CompareAssociationProperties(slot->properties, kovdProperties, compare::slotForKovd))
        {
            continue;
        }
        recordMatch(UTIL_SITE, smbiosPath, kovdPath);
        sendAssociations(UTIL_SITE, kovdPath, slotAssociationList(smbiosPath));
        return;
    }
    // Normal while the SMBIOS service has not published its slots yet.
    UTIL_LOG(trace::error, "%s No association found for objPath", kovdPath.c_str());
}
catch (const std::exception& e)
{
    UTIL_LOG(trace::error, "Exception: %s", e.what());
}
catch (...)
{
    UTIL_LOG(trace::error, "Unknown exception");
}
