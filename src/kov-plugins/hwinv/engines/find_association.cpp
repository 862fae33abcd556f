#include "engines/find_association.hpp"

#include "base/failure.hpp"
#include "engines/cache_assoc.hpp"
#include "engines/candidates.hpp"
#include "engines/cpu_assoc.hpp"
#include "engines/match.hpp"
#include "engines/pcie_kovd_search.hpp"
#include "engines/pcie_smbios_search.hpp"
#include "engines/slot_association.hpp"
#include "store/one_piece.hpp"
#include "store/store.hpp"

#include <optional>
#include <vector>

namespace
{

/** Whether the path is paired on its own side; logged in the dispatcher's name. */
bool alreadyAssociated(const Site& site, int side, const std::string& path)
{
    if (!isPathAssociated(side, path))
    {
        return false;
    }
    LOG_AT(site, level::info, "Association already exists %s", path.c_str());
    return true;
}

/**
 * The SMBIOS slot that `path` inherits from the KOVD object `parent`. Nothing, and logged for
 * `path`, when the parent has none.
 */
std::optional<std::string> inheritedSlot(const Site& site, const std::string& parent,
                                         const std::string& path)
{
    auto smbiosPath = findAssociatedSMBIOSPath(parent);
    if (!smbiosPath || smbiosPath->empty())
    {
        LOG_AT(site, level::error, "SMBIOS association not found for objPath: %s", path.c_str());
        return std::nullopt;
    }
    return smbiosPath;
}

/** A device inherits from the slot object above it in the path tree; no pair is added for it. */
void associateSlotDevice(const Site& site, const std::string& path)
{
    if (alreadyAssociated(site, kovdSide, path))
    {
        return;
    }
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
    {
        LOG_AT(site, level::error, "Objpath not correct for %s", path.c_str());
        return;
    }
    const std::string parent = path.substr(0, slash);
    if (!isPathAssociated(kovdSide, parent))
    {
        IterateSMBIOSObjs(path, object_type::kovdSlotDevice);
        return;
    }
    const auto smbiosPath = inheritedSlot(site, parent, path);
    if (!smbiosPath)
    {
        return;
    }
    LOG_AT(site, level::info, "%s Associated SMBIOSobjPath", smbiosPath->c_str());
    sendSlotAssociation(site, path, *smbiosPath);
}

/**
 * A chassis object inherits from the board object with the same leaf; no pair is added for it. When
 * that one has no partner yet nothing is searched: a search from the SMBIOS slot serves the twin
 * later, else the next discovery does.
 */
void associateChassisSlot(const Site& site, const std::string& path)
{
    if (alreadyAssociated(site, kovdSide, path))
    {
        return;
    }
    std::string boardPath;
    if (!convertPath(path, boardPath))
    {
        LOG_AT(site, level::error, "Objpath not in correct format %s", path.c_str());
        return;
    }
    const auto smbiosPath = inheritedSlot(site, boardPath, path);
    if (!smbiosPath)
    {
        return;
    }
    LOG_AT(site, level::info, "Associated SMBIOS  objPath: %s", smbiosPath->c_str());
    sendSlotAssociation(site, path, *smbiosPath);
}

void unsupported(const Site& site, int objectType)
{
    LOG_AT(site, level::error, "interface type %d not supported", objectType);
}

void findForSmbios(const Site& site, int objectType, const std::string& path)
{
    switch (objectType)
    {
        case object_type::smbiosSlot:
            if (!alreadyAssociated(site, smbiosSide, path))
            {
                IterateKOVDObjs(path, objectType);
            }
            return;
        case object_type::smbiosCpu: // a paired processor may still lack caches
            AssocForSmbiosCPU(path);
            return;
        case object_type::smbiosCache:
            AddCacheAssoc(path);
            return;
        default:
            unsupported(site, objectType);
    }
}

void findForKovd(const Site& site, int objectType, const std::string& path)
{
    switch (objectType)
    {
        case object_type::kovdSlot:
            if (!alreadyAssociated(site, kovdSide, path))
            {
                IterateSMBIOSObjs(path, objectType);
            }
            return;
        case object_type::kovdSlotDevice:
            associateSlotDevice(site, path);
            return;
        case object_type::kovdChassisSlot:
            associateChassisSlot(site, path);
            return;
        case object_type::kovdCpu:
            if (!alreadyAssociated(site, kovdSide, path))
            {
                AssocForKovdCPU(path);
            }
            return;
        default:
            unsupported(site, objectType);
    }
}

/** One step of the full pass. False when the slot has vanished since the pass listed it. */
bool associateInPass(const Site& site, const std::string& path)
{
    if (isPathAssociated(smbiosSide, path))
    {
        LOG_AT(site, level::warning, "SMBIOS object already associated with KOVD object: %s",
               path.c_str());
        return true;
    }
    const SharedObject slot = smbiosPCIeSlotObjs.findObject(path);
    const CandidateState state = examine(site, unusableSmbios, path, slot.get());
    if (state == CandidateState::usable)
    {
        IterateKOVDObjectsOfSlot(*slot, path);
    }
    return state != CandidateState::vanished;
}

} // namespace

void FindAssociation(int sourceCode, int objectType, const std::string& path)
{
    switch (sourceCode)
    {
        case source::kovd:
            findForKovd(UTIL_SITE, objectType, path);
            return;
        case source::smbios:
            findForSmbios(UTIL_SITE, objectType, path);
            return;
        case source::fullPass:
            AssociateSMBIOSPCIESlotsObjToKOVDObjs();
            return;
        default:
            unsupported(UTIL_SITE, objectType);
    }
}

void AssociateSMBIOSPCIESlotsObjToKOVDObjs()
try
{
    const std::vector<std::string> paths = smbiosPCIeSlotObjs.listObjectPaths();
    if (paths.empty())
    {
        UTIL_LOG(level::error, "No SMBIOS objects found in the map");
        return;
    }
    for (const std::string& path : paths)
    {
        MutexLock piece(pieceMutex);
        if (!associateInPass(UTIL_SITE, path))
        {
            return; // the remaining slots wait for the next pass or event
        }
    }
}
catch (...)
{
    // The pass goes by another name in these two lines; people search the log for it.
    logFailure(UTIL_SITE, {"Exception in AssociateSMBIOSPCIESlotsToKOVDPCIESlots: %s",
                           "Unknown Exception in AssociateSMBIOSPCIESlotsToKOVDPCIESlots"});
}
