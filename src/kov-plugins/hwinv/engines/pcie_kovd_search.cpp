#include "engines/pcie_kovd_search.hpp"

#include "base/failure.hpp"
#include "engines/association_codes.hpp"
#include "engines/candidates.hpp"
#include "engines/match.hpp"
#include "engines/slot_association.hpp"
#include "store/store.hpp"

#include <optional>

namespace
{

// The two searches word the same facts differently.
constexpr UnusableLines unusableSlot{
    "%s:Kovd object not found for objPath",
    "%s:SMBIOS object properties could not be obtained for objPath",
};
constexpr UnusableLines unusableDevice{
    "Kovd object not found for objPath: %s",
    "SMBIOS object properties could not be obtained for objPath: %s",
};

void recordSlot(const Site& site, const std::string& smbiosPath, const std::string& kovdPath)
{
    LOG_AT(site, level::info, "%s :Associated Pcislot objpath", kovdPath.c_str());
    if (addAssociationPair(smbiosPath, kovdPath))
    {
        LOG_AT(site, level::info, "Inserted in active associations");
        LOG_AT(site, level::info, "smbios Path %s", smbiosPath.c_str());
        LOG_AT(site, level::info, "kovd Path %s", kovdPath.c_str());
        return;
    }
    // The slot counts as matched and is written all the same.
    LOG_AT(site, level::info, "Already present in active associations");
}

void recordDevice(const Site& site, const std::string& smbiosPath, const std::string& devicePath)
{
    LOG_AT(site, level::info, "Association found %s", devicePath.c_str());
    LOG_AT(site, level::info, "smbios %s", smbiosPath.c_str());
    LOG_AT(site, level::info, "kovd %s", devicePath.c_str());
    if (addAssociationPair(smbiosPath, devicePath))
    {
        LOG_AT(site, level::info, "Association added successfully");
        return;
    }
    // Normal: the slot object holds the pair. The device is written all the same.
    LOG_AT(site, level::info, "Not able to add association");
}

void recordTwin(const Site& site, const std::string& smbiosPath, const std::string& twinPath)
{
    LOG_AT(site, level::info, "Associated Pcislotdevice objpath %s", twinPath.c_str());
    if (addAssociationPair(smbiosPath, twinPath))
    {
        LOG_AT(site, level::info, "Association created successfully");
        LOG_AT(site, level::info, "smbiosObjPath: %s", smbiosPath.c_str());
        LOG_AT(site, level::info, "kovdObjPath: %s", twinPath.c_str());
        return;
    }
    // Normal: the slot object holds the pair. The twin is written all the same.
    LOG_AT(site, level::error, "Failed to add association in the map");
}

/** The chassis path whose board path is `matchedSlotPath`; nothing when there is none. */
std::optional<std::string> findChassisTwin(const Site& site, const std::string& matchedSlotPath)
{
    const ObjectMap::Snapshot chassisObjects = kovdChassisPathSlotObjs.snapshot();
    std::string boardPath;
    for (const SharedObject& object : *chassisObjects)
    {
        if (!convertPath(object->path, boardPath))
        {
            LOG_AT(site, level::error, "Objpath not in correct format %s", object->path.c_str());
            return std::nullopt; // the chassis paths behind it are not looked at
        }
        if (boardPath == matchedSlotPath)
        {
            return object->path;
        }
    }
    return std::nullopt;
}

} // namespace

void IterateKOVDObjs(const std::string& smbiosPath, int objectType)
try
{
    const SharedObject slot =
        objectType == object_type::smbiosSlot ? smbiosPCIeSlotObjs.findObject(smbiosPath) : nullptr;
    if (!slot || slot->properties.empty())
    {
        UTIL_LOG(level::error, "SMBIOS object not found for objPath: %s", smbiosPath.c_str());
        return;
    }
    IterateKOVDObjectsOfSlot(*slot, smbiosPath);
}
catch (...)
{
    logFailure(UTIL_SITE,
               {"Exception in IterateKOVDObjs: %s", "Unknown Exception in IterateKOVDObjs"});
}

void IterateKOVDObjectsOfSlot(const Side& smbios, const std::string& smbiosPath)
{
    std::string matchedSlotPath;
    IterateKOVDPCIeSlotObjs(matchedSlotPath, smbios, smbiosPath);
    IterateKOVDPCIeSlotDeviceObjs(matchedSlotPath, smbios, smbiosPath);
    IterateKOVDPCIeSlotObjsChassisPath(matchedSlotPath, smbios, smbiosPath);
}

void IterateKOVDPCIeSlotObjs(std::string& matchedSlotPath, const Side& smbios,
                             const std::string& smbiosPath)
{
    const Site site = UTIL_SITE;
    UTIL_LOG(level::info, "SmbiosPath:%s", smbiosPath.c_str());
    UTIL_LOG(level::trace, " Finding association among kovd PCIe slot dbus objects");
    const auto visit = [&](const StoredObject& slot)
    {
        if (!sidesMatch(smbios, slot, compare::slotForSmbios))
        {
            return Walk::goOn;
        }
        recordSlot(site, smbiosPath, slot.path);
        matchedSlotPath = slot.path;
        sendSlotAssociation(site, slot.path, smbiosPath);
        return Walk::end;
    };
    // No match is normal for an empty slot, and while the platform daemon is still starting.
    walkCandidates(site, kovdPCIeSlotObjs, unusableSlot, OnVanished::skip, visit);
}

void IterateKOVDPCIeSlotDeviceObjs(const std::string& matchedSlotPath, const Side& smbios,
                                   const std::string& smbiosPath)
try
{
    const Site site = UTIL_SITE;
    const auto visit = [&](const StoredObject& device)
    {
        const bool inSlot =
            !matchedSlotPath.empty() && device.path.find(matchedSlotPath) != std::string::npos;
        if (inSlot || sidesMatch(smbios, device, compare::slotDevice))
        {
            recordDevice(site, smbiosPath, device.path);
            sendSlotAssociation(site, device.path, smbiosPath);
        }
        return Walk::goOn; // all devices of the slot count, not only the first
    };
    walkCandidates(site, kovdPCIeDeviceObjs, unusableDevice, OnVanished::skip, visit);
}
catch (...)
{
    logFailure(UTIL_SITE, {"Exception in IterateKOVDPCIeSlotDeviceObjs: %s",
                           "Exception in IterateKOVDPCIeSlotDeviceObjs"});
}

void IterateKOVDPCIeSlotObjsChassisPath(const std::string& matchedSlotPath, const Side& /*smbios*/,
                                        const std::string& smbiosPath)
try
{
    if (matchedSlotPath.empty())
    {
        UTIL_LOG(level::trace, "No association found for objPath: %s", smbiosPath.c_str());
        return;
    }
    const auto twin = findChassisTwin(UTIL_SITE, matchedSlotPath);
    if (!twin)
    {
        return;
    }
    recordTwin(UTIL_SITE, smbiosPath, *twin);
    sendSlotAssociation(UTIL_SITE, *twin, smbiosPath);
}
catch (...)
{
    logFailure(UTIL_SITE, {"Exception in IterateKOVDPCIeSlotObjsChassisPath: %s",
                           "Exception in IterateKOVDPCIeSlotObjsChassisPath"});
}
