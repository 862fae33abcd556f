#include "objects/cpu_objects.hpp"

#include "base/log.hpp"
#include "base/names.hpp"
#include "base/recovery_request.hpp"
#include "engines/cpu_assoc.hpp"
#include "engines/cpu_failures.hpp"
#include "engines/cpu_tuples.hpp"
#include "engines/find_association.hpp"
#include "objects/kept_properties.hpp"
#include "store/store.hpp"

#include <sdbusplus/exception.hpp>

#include <array>
#include <exception>
#include <utility>
#include <vector>

using sdbusplus::exception::SdBusError;

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

/** Says which partner an SMBIOS processor has, or that it has none (null). */
void logPartner(const Site& site, const std::string& smbiosPath, const std::string* kovdPath)
{
    if (kovdPath == nullptr)
    {
        LOG_AT(site, trace::warning, "%s No associations found for path", smbiosPath.c_str());
        return;
    }
    LOG_AT(site, trace::error, "%s associated kovd objpath", kovdPath->c_str());
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
        LOG_AT(site, trace::warning, "No associations found for path: %s", cpuPath.c_str());
    }
    for (const std::string& cachePath : cachePaths)
    {
        LOG_AT(site, trace::error, "%s associated Cache objpath", cachePath.c_str());
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
        LOG_AT(site, trace::error, "GetCurrentAssocTuples failed");
        return;
    }
    for (const std::string& endpoint : endpoints)
    {
        if (RemoveAssocTuple(current, endpoint) == -1)
        {
            LOG_AT(site, trace::error, "RemoveAssocTuple failed");
            return;
        }
    }
    writeAssocTuples(site, kovdPath, current);
}

/** In a catch block: logs what was thrown, in the operation's name. */
void readFailed(const Site& site)
{
    try
    {
        throw;
    }
    catch (const SdBusError& e)
    {
        LOG_AT(site, trace::error, "Exception occurred %s", e.what());
    }
    catch (const std::exception& e)
    {
        LOG_AT(site, trace::error, "failed to read message properties[%s]", e.what());
    }
    catch (...)
    {
        LOG_AT(site, trace::error, "failed to read message");
    }
}

} // namespace

void InsertSMBIOSCPUObj(const std::string& path, const PropertyMap& received)
try
{
    CPU_LOG(trace::info, "Path:%s", path.c_str());
    const bool stored = smbiosCPUObjs.hasObject(path);
    if (stored && isFullyAssociated(path))
    {
        CPU_LOG(trace::info, "Associations exists %s", path.c_str());
        return;
    }
    PropertyMap working;
    if (stored && !smbiosCPUObjs.getObject(path, &working))
    {
        CPU_LOG(trace::error, "%s not able to get the entry from the map", path.c_str());
        return;
    }
    storeAndAssociate(CPU_SITE, smbiosCpuRule, path, received, std::move(working));
}
catch (...)
{
    readFailed(CPU_SITE);
    requestRecovery();
}

void InsertSMBIOSCacheObj(const std::string& path, const PropertyMap& received)
try
{
    CPU_LOG(trace::info, "SmbiosPath:%s", path.c_str());
    const bool stored = smbiosCacheObjs.hasObject(path);
    if (stored && hasCPUsOfCache(path))
    {
        CPU_LOG(trace::info, "Association exists %s", path.c_str());
        return;
    }
    PropertyMap working;
    if (stored && !smbiosCacheObjs.getObject(path, &working))
    {
        CPU_LOG(trace::error, "%s Not able to get SMBIOS map", path.c_str());
        return;
    }
    storeAndAssociate(CPU_SITE, smbiosCacheRule, path, received, std::move(working));
}
catch (...)
{
    readFailed(CPU_SITE);
    requestRecovery();
}

void InsertKOVDCPUObj(const std::string& path, const PropertyMap& received)
try
{
    CPU_LOG(trace::info, "KOVDpath = %s", path.c_str());
    const bool stored = kovdCPUObjs.hasObject(path);
    if (stored && isPathAssociated(kovdSide, path))
    {
        CPU_LOG(trace::info, "Association exists %s", path.c_str());
        return;
    }
    PropertyMap working;
    if (stored && !kovdCPUObjs.getObject(path, &working))
    {
        CPU_LOG(trace::detail, "%s Not able to get entry from the map", path.c_str());
        return;
    }
    storeAndAssociate(CPU_SITE, kovdCpuRule, path, received, std::move(working));
}
catch (const SdBusError& e)
{
    CPU_LOG(trace::error, "%s Exception occurred", e.what());
    requestRecovery();
}
catch (const std::exception& e)
{
    CPU_LOG(trace::error, "[%s] Exception occurred", e.what());
    requestRecovery();
}
catch (...)
{
    CPU_LOG(trace::error, "Exception occurred");
    requestRecovery();
}

void removeSMBIOSCPUAssoc(const std::string& path)
try
{
    if (smbiosCPUObjs.eraseObject(path) == 0)
    {
        CPU_LOG(trace::info, "%s successfully removed from the map", path.c_str());
    }
    std::string kovdPath;
    const bool paired = takeAssociatedKOVDPath(path, kovdPath);
    logPartner(CPU_SITE, path, paired ? &kovdPath : nullptr);
    std::vector<std::string> endpoints = releaseCaches(CPU_SITE, path);
    if (kovdPath.empty())
    {
        CPU_LOG(trace::error, "kovdCPUObjPath is empty");
        return;
    }
    // The processor's own tuple first: without it the caches' tuples stay too.
    endpoints.insert(endpoints.begin(), path);
    pruneTuples(CPU_SITE, kovdPath, endpoints);
}
catch (const std::exception& e)
{
    CPU_LOG(trace::error, "Exception occurred[%s]", e.what());
}
catch (...)
{
    CPU_LOG(trace::error, "Exception in removeSMBIOSCPUAssoc");
}

void removeSMBIOSCacheAssoc(const std::string& path)
try
{
    if (smbiosCacheObjs.eraseObject(path) == 0)
    {
        CPU_LOG(trace::info, "%s successfully removed from the map", path.c_str());
    }
    std::vector<std::string> cpuPaths;
    {
        MutexLock lock(cpuCacheAssociationPairsMutex);
        cpuPaths = cpuCacheAssociationPairs.cpusOfCache(path);
        cpuCacheAssociationPairs.eraseCache(path);
    }
    if (cpuPaths.empty())
    {
        CPU_LOG(trace::warning, "No associations path: %s", path.c_str());
        return;
    }
    // Only the first processor's list is corrected; a second one keeps the tuple.
    CPU_LOG(trace::error, "associated smbios objpath  = %s", cpuPaths.front().c_str());
    std::string kovdPath;
    const bool paired = findAssociatedKOVDPath(cpuPaths.front(), kovdPath);
    logPartner(CPU_SITE, cpuPaths.front(), paired ? &kovdPath : nullptr);
    if (!paired)
    {
        return;
    }
    pruneTuples(CPU_SITE, kovdPath, {path});
}
catch (...)
{
    operationFailed(CPU_SITE);
}

void removeKOVDCPUAssoc(const std::string& path)
try
{
    if (kovdCPUObjs.eraseObject(path) == 0)
    {
        CPU_LOG(trace::info, "%s KOVD path removed from the map:", path.c_str());
    }
    MutexLock lock(CPUKOVDAssocTuplesMutex);
    if (CPUKOVDAssocTuples.erase(path) != 0)
    {
        CPU_LOG(trace::detail, "%s CPUKOVDAssocTuples entry eraised", path.c_str());
    }
}
catch (...)
{
    readFailed(CPU_SITE);
}
