#include "engines/pcie_kovd_search.hpp"

#include "base/log.hpp"
#include "bus/association_writer.hpp"
#include "engines/association_codes.hpp"
#include "engines/match.hpp"
#include "engines/slot_association.hpp"
#include "store/store.hpp"

#include <exception>
#include <optional>

namespace
{

/** The chassis path whose board path is `matchedSlotPath`; nothing when there is none. */
std::optional<std::string> findChassisTwin(const Site& site, const std::string& matchedSlotPath)
{
    const ObjectMap::Snapshot chassisObjects = kovdChassisPathSlotObjs.snapshot();
    std::string boardPath;
    for (const SharedObject& object : *chassisObjects)
    {
        if (!convertPath(object->path, boardPath))
        {
            LOG_AT(site, trace::error, "Objpath not in correct format %s", object->path.c_str());
            return std::nullopt; // on purpose: the chassis paths behind it are not looked at
        }
        if (boardPath == matchedSlotPath)
        {
            return object->path;
        }
    }
    return std::nullopt;
}

void recordDevice(const Site& site, const std::string& smbiosPath, const std::string& devicePath)
{
    LOG_AT(site, trace::info, "Association found %s", devicePath.c_str());
    LOG_AT(site, trace::info, "smbios %s", smbiosPath.c_str());
    LOG_AT(site, trace::info, "kovd %s", devicePath.c_str());
    if (addAssociationPair(smbiosPath, devicePath))
    {
        LOG_AT(site, trace::info, "Association added successfully");
        return;
    }
    // Normal: the slot object holds the pair. The device is written all the same.
    LOG_AT(site, trace::info, "Not able to add association");
}

} // namespace

void IterateKOVDObjs(const std::string& smbiosPath, int objectType)
try
{
    const SharedObject slot =
        objectType == object_type::smbiosSlot ? smbiosPCIeSlotObjs.findObject(smbiosPath) : nullptr;
    if (!slot || slot->properties.empty())
    {
        UTIL_LOG(trace::error, "SMBIOS object not found for objPath: %s", smbiosPath.c_str());
        return;
    }
    IterateKOVDObjectsOfSlot(slot->properties, smbiosPath);
}
catch (const std::exception& e)
{
    UTIL_LOG(trace::error, "Exception in IterateKOVDObjs: %s", e.what());
}
catch (...)
{
    UTIL_LOG(trace::error, "Unknown Exception in IterateKOVDObjs");
}

void IterateKOVDObjectsOfSlot(const PropertyMap& smbiosProperties, const std::string& smbiosPath)
{
    std::string matchedSlotPath;
    IterateKOVDPCIeSlotObjs(matchedSlotPath, smbiosProperties, smbiosPath);
    IterateKOVDPCIeSlotDeviceObjs(matchedSlotPath, smbiosProperties, smbiosPath);
    IterateKOVDPCIeSlotObjsChassisPath(matchedSlotPath, smbiosProperties, smbiosPath);
}

void IterateKOVDPCIeSlotObjs(std::string& matchedSlotPath, const PropertyMap& smbiosProperties,
                             const std::string& smbiosPath)
{
    UTIL_LOG(trace::info, "SmbiosPath:%s", smbiosPath.c_str());
    UTIL_LOG(trace::detail, " Finding association among kovd PCIe slot dbus objects");
    for (const auto [kovdPath, slot] : Candidates(kovdPCIeSlotObjs))
    {
        if (!slot)
        {
            UTIL_LOG(trace::error, "%s:Kovd object not found for objPath", kovdPath.c_str());
            continue;
        }
        if (slot->properties.empty())
        {
            UTIL_LOG(trace::error, "%s:SMBIOS object properties could not be obtained for objPath",
                     kovdPath.c_str());
            continue;
        }
        if (!CompareAssociationProperties(smbiosProperties, slot->properties,
                                          compare::slotForSmbios))
        {
            continue;
        }
        UTIL_LOG(trace::info, "%s :Associated Pcislot objpath", kovdPath.c_str());
        if (addAssociationPair(smbiosPath, kovdPath))
        {
            UTIL_LOG(trace::info, "Inserted in active associations");
            UTIL_LOG(trace::info, "smbios Path %s", smbiosPath.c_str());
            UTIL_LOG(trace::info, "kovd Path %s", kovdPath.c_str());
        }
        else
        {
            // The slot counts as matched and is written all the same.
            UTIL_LOG(trace::info, "Already present in active associations");
        }
        matchedSlotPath = kovdPath;
        sendAssociations(UTIL_SITE, kovdPath, slotAssociationList(smbiosPath));
        return;
    }
    // No match is normal for an empty slot, and while the platform daemon is still starting.
}

void IterateKOVDPCIeSlotDeviceObjs(const std::string& matchedSlotPath,
                                   const PropertyMap& smbiosProperties,
                                   const std::string& smbiosPath)
try
{
    for (const auto [devicePath, device] : Candidates(kovdPCIeDeviceObjs))
    {
        if (!device)
        {
            UTIL_LOG(trace::error, "Kovd object not found for objPath: %s", devicePath.c_str());
            continue;
        }
        if (device->properties.empty())
        {
            UTIL_LOG(trace::error, "SMBIOS object properties could not be obtained for objPath: %s",
                     devicePath.c_str());
            continue;
        }
        const bool inSlot =
            !matchedSlotPath.empty() && devicePath.find(matchedSlotPath) != std::string::npos;
        if (!inSlot && !CompareAssociationProperties(smbiosProperties, device->properties,
                                                     compare::slotDevice))
        {
            continue;
        }
        recordDevice(UTIL_SITE, smbiosPath, devicePath);
        // All devices of the slot count, not only the first.
        sendAssociations(UTIL_SITE, devicePath, slotAssociationList(smbiosPath));
    }
}
catch (const std::exception& e)
{
    UTIL_LOG(trace::error, "Exception in IterateKOVDPCIeSlotDeviceObjs: %s", e.what());
}
catch (...)
{
    UTIL_LOG(trace::error, "Exception in IterateKOVDPCIeSlotDeviceObjs");
}

void IterateKOVDPCIeSlotObjsChassisPath(const std::string& matchedSlotPath,
                                        const PropertyMap& /*smbiosProperties*/,
                                        const std::string& smbiosPath)
try
{
    if (matchedSlotPath.empty())
    {
        UTIL_LOG(trace::detail, "No association found for objPath: %s", smbiosPath.c_str());
        return;
    }
    const auto twin = findChassisTwin(UTIL_SITE, matchedSlotPath);
    if (!twin)
    {
        return;
    }
    UTIL_LOG(trace::info, "Associated Pcislotdevice objpath %s", twin->c_str());
    if (addAssociationPair(smbiosPath, *twin))
    {
        UTIL_LOG(trace::info, "Association created successfully");
        UTIL_LOG(trace::info, "smbiosObjPath: %s", smbiosPath.c_str());
        UTIL_LOG(trace::info, "kovdObjPath: %s", twin->c_str());
    }
    else
    {
        // Normal: the slot object holds the pair. The twin is written all the same.
        UTIL_LOG(trace::error, "Failed to add association in the map");
    }
    sendAssociations(UTIL_SITE, *twin, slotAssociationList(smbiosPath));
}
catch (const std::exception& e)
{
    UTIL_LOG(trace::error, "Exception in IterateKOVDPCIeSlotObjsChassisPath: %s", e.what());
}
catch (...)
{
    UTIL_LOG(trace::error, "Exception in IterateKOVDPCIeSlotObjsChassisPath");
}
