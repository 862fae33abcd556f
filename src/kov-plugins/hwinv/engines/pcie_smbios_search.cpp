#include "engines/pcie_smbios_search.hpp"

#include "base/failure.hpp"
#include "engines/association_codes.hpp"
#include "engines/candidates.hpp"
#include "engines/slot_association.hpp"
#include "store/store.hpp"

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
        LOG_AT(site, level::info, "Association added successfully");
        LOG_AT(site, level::info, "smbios %s", smbiosPath.c_str());
        LOG_AT(site, level::info, "kovd %s", kovdPath.c_str());
        return;
    }
    // One of the two is paired already; the association is written all the same.
    LOG_AT(site, level::info, "Association not added successfully %s", kovdPath.c_str());
}

} // namespace

void IterateSMBIOSObjs(const std::string& kovdPath, int objectType)
try
{
    const ObjectMap* objects = kovdObjects(objectType);
    const SharedObject object = objects == nullptr ? nullptr : objects->findObject(kovdPath);
    if (!object || object->properties.empty())
    {
        UTIL_LOG(level::error, "KOVD object not found for objPath: %s", kovdPath.c_str());
        return;
    }
    IterateSMBIOSPCISlotObjs(*object, kovdPath);
}
catch (...)
{
    logFailure(UTIL_SITE,
               {"Exception in IterateSMBIOSObjs: %s", "Unknown Exception in IterateSMBIOSObjs"});
}

void IterateSMBIOSPCISlotObjs(const Side& kovd, const std::string& kovdPath)
try
{
    const Site site = UTIL_SITE;
    const auto visit = [&](const StoredObject& slot)
    {
        // Whatever kind of KOVD object asks, it is compared as a slot: a device without the
        // slot's own properties finds nothing here.
        if (!sidesMatch(slot, kovd, compare::slotForKovd))
        {
            return Walk::goOn;
        }
        recordMatch(site, slot.path, kovdPath);
        sendSlotAssociation(site, kovdPath, slot.path);
        return Walk::end;
    };
    const WalkEnd end =
        walkCandidates(site, smbiosPCIeSlotObjs, unusableSmbios, OnVanished::endWalk, visit);
    if (end == WalkEnd::behindLast)
    {
        // Normal while the SMBIOS service has not published its slots yet.
        UTIL_LOG(level::error, "%s No association found for objPath", kovdPath.c_str());
    }
}
catch (...)
{
    logFailure(UTIL_SITE, {"Exception: %s", "Unknown exception"});
}
