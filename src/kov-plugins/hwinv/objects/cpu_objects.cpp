#include "objects/cpu_objects.hpp"

#include "base/failure.hpp"
#include "base/names.hpp"
#include "base/recovery_request.hpp"
#include "engines/cpu_assoc.hpp"
#include "engines/cpu_tuples.hpp"
#include "engines/find_association.hpp"
#include "objects/kept_properties.hpp"
#include "store/store.hpp"

#include <array>
#include <optional>
#include <utility>
#include <vector>

namespace
{

constexpr std::array smbiosCpuKept{
    KeptProperty{names::socket, KeptType::string},
    KeptProperty{names::l1CacheHandle, KeptType::uint16},
    KeptProperty{names::l2CacheHandle, KeptType::uint16},
    KeptProperty{names::l3CacheHandle, KeptType::uint16},
};

constexpr std::array smbiosCacheKept{
    KeptProperty{names::handle, KeptType::uint16},
};

constexpr std::array kovdCpuKept{
    KeptProperty{names::targetDevKey, KeptType::string},
    KeptProperty{names::slotNumber, KeptType::uint16},
};

const InsertRule smbiosCpuRule{smbiosCPUObjs, smbiosCpuKept, "=", source::smbios,
                               object_type::smbiosCpu};
const InsertRule smbiosCacheRule{smbiosCacheObjs, smbiosCacheKept, "=", source::smbios,
                                 object_type::smbiosCache};
const InsertRule kovdCpuRule{kovdCPUObjs, kovdCpuKept, " = ", source::kovd, object_type::kovdCpu};

/** Says which partner an SMBIOS processor has, or that it has none. */
void logPartner(const Site& site, const std::string& smbiosPath,
                const std::optional<std::string>& kovdPath)
{
    if (!kovdPath)
    {
        LOG_AT(site, level::warning, "%s No associations found for path", smbiosPath.c_str());
        return;
    }
    LOG_AT(site, level::error, "%s associated kovd objpath", kovdPath->c_str());
}

/** Forgets the pairs of an SMBIOS processor with its caches; the caches, logged. */
std::vector<std::string> releaseCaches(const Site& site, const std::string& cpuPath)
{
    std::vector<std::string> cachePaths;
    {
        MutexLock lock(cpuCacheAssociationPairsMutex);
        cachePaths = cpuCacheAssociationPairs.cachesOfCPU(cpuPath);
        cpuCacheAssociationPairs.eraseCPU(cpuPath);
    }
    if (cachePaths.empty())
    {
        LOG_AT(site, level::warning, "No associations found for path: %s", cpuPath.c_str());
    }
    for (const std::string& cachePath : cachePaths)
    {
        LOG_AT(site, level::error, "%s associated Cache objpath", cachePath.c_str());
    }
    return cachePaths;
}

/** Takes all tuples of the endpoints, in order, off the list and writes it; all or nothing. */
void pruneTuples(const Site& site, const std::string& kovdPath,
                 const std::vector<std::string>& endpoints)
{
    AssociationList current;
    if (GetCurrentAssocTuples(kovdPath, current) == -1)
    {
        LOG_AT(site, level::error, "GetCurrentAssocTuples failed");
        return;
    }
    for (const std::string& endpoint : endpoints)
    {
        if (RemoveAssocTuple(current, endpoint) == -1)
        {
            LOG_AT(site, level::error, "RemoveAssocTuple failed");
            return;
        }
    }
    writeAssocTuples(site, kovdPath, current);
}

/** Forgets the list last handed over for a KOVD processor; false when there was none. */
bool forgetTuples(const std::string& kovdPath)
{
    MutexLock lock(CPUKOVDAssocTuplesMutex);
    return CPUKOVDAssocTuples.erase(kovdPath) != 0;
}

// Two inserts and a removal word a failure alike, though the removal reads nothing.
constexpr FailureLines readFailed{
    .standard = "failed to read message properties[%s]",
    .other = "failed to read message",
    .busError = "Exception occurred %s",
};

} // namespace

void InsertSMBIOSCPUObj(const std::string& path, const ReceivedProperties& received)
try
{
    CPU_LOG(level::info, "Path:%s", path.c_str());
    const bool stored = smbiosCPUObjs.hasObject(path);
    if (stored && isFullyAssociated(path))
    {
        CPU_LOG(level::info, "Associations exists %s", path.c_str());
        return;
    }
    PropertyMap working;
    if (stored && !smbiosCPUObjs.getObject(path, &working))
    {
        CPU_LOG(level::error, "%s not able to get the entry from the map", path.c_str());
        return;
    }
    storeAndAssociate(CPU_SITE, smbiosCpuRule, path, received, std::move(working));
}
catch (...)
{
    logFailure(CPU_SITE, readFailed);
    requestRecovery();
}

void InsertSMBIOSCacheObj(const std::string& path, const ReceivedProperties& received)
try
{
    CPU_LOG(level::info, "SmbiosPath:%s", path.c_str());
    const bool stored = smbiosCacheObjs.hasObject(path);
    if (stored && hasCPUsOfCache(path))
    {
        CPU_LOG(level::info, "Association exists %s", path.c_str());
        return;
    }
    PropertyMap working;
    if (stored && !smbiosCacheObjs.getObject(path, &working))
    {
        CPU_LOG(level::error, "%s Not able to get SMBIOS map", path.c_str());
        return;
    }
    storeAndAssociate(CPU_SITE, smbiosCacheRule, path, received, std::move(working));
}
catch (...)
{
    logFailure(CPU_SITE, readFailed);
    requestRecovery();
}

void InsertKOVDCPUObj(const std::string& path, const ReceivedProperties& received)
try
{
    CPU_LOG(level::info, "KOVDpath = %s", path.c_str());
    const bool stored = kovdCPUObjs.hasObject(path);
    if (stored && isPathAssociated(kovdSide, path))
    {
        CPU_LOG(level::info, "Association exists %s", path.c_str());
        return;
    }
    PropertyMap working;
    if (stored && !kovdCPUObjs.getObject(path, &working))
    {
        CPU_LOG(level::trace, "%s Not able to get entry from the map", path.c_str());
        return;
    }
    storeAndAssociate(CPU_SITE, kovdCpuRule, path, received, std::move(working));
}
catch (...)
{
    logFailure(CPU_SITE, {.standard = "[%s] Exception occurred",
                          .other = "Exception occurred",
                          .busError = "%s Exception occurred"});
    requestRecovery();
}

void removeSMBIOSCPUAssoc(const std::string& path)
try
{
    if (smbiosCPUObjs.eraseObject(path) == 0)
    {
        CPU_LOG(level::info, "%s successfully removed from the map", path.c_str());
    }
    const auto kovdPath = takeAssociatedKOVDPath(path);
    logPartner(CPU_SITE, path, kovdPath);
    std::vector<std::string> endpoints = releaseCaches(CPU_SITE, path);
    if (!kovdPath || kovdPath->empty())
    {
        CPU_LOG(level::error, "kovdCPUObjPath is empty");
        return;
    }
    // The processor's own tuple first: without it the caches' tuples stay too.
    endpoints.insert(endpoints.begin(), path);
    pruneTuples(CPU_SITE, *kovdPath, endpoints);
}
catch (...)
{
    logFailure(CPU_SITE, {"Exception occurred[%s]", "Exception in removeSMBIOSCPUAssoc"});
}

void removeSMBIOSCacheAssoc(const std::string& path)
try
{
    if (smbiosCacheObjs.eraseObject(path) == 0)
    {
        CPU_LOG(level::info, "%s successfully removed from the map", path.c_str());
    }
    std::vector<std::string> cpuPaths;
    {
        MutexLock lock(cpuCacheAssociationPairsMutex);
        cpuPaths = cpuCacheAssociationPairs.cpusOfCache(path);
        cpuCacheAssociationPairs.eraseCache(path);
    }
    if (cpuPaths.empty())
    {
        CPU_LOG(level::warning, "No associations path: %s", path.c_str());
        return;
    }
    // Only the first processor's list is corrected; a second one keeps the tuple.
    CPU_LOG(level::error, "associated smbios objpath  = %s", cpuPaths.front().c_str());
    const auto kovdPath = findAssociatedKOVDPath(cpuPaths.front());
    logPartner(CPU_SITE, cpuPaths.front(), kovdPath);
    if (kovdPath)
    {
        pruneTuples(CPU_SITE, *kovdPath, {path});
    }
}
catch (...)
{
    logFailure(
        CPU_SITE,
        {.standard = "error: %s ", .other = "exception", .busError = "Exception occurred %s"});
}

void removeKOVDCPUAssoc(const std::string& path)
try
{
    if (kovdCPUObjs.eraseObject(path) == 0)
    {
        CPU_LOG(level::info, "%s KOVD path removed from the map:", path.c_str());
    }
    if (forgetTuples(path))
    {
        CPU_LOG(level::trace, "%s CPUKOVDAssocTuples entry eraised", path.c_str());
    }
}
catch (...)
{
    logFailure(CPU_SITE, readFailed);
}
