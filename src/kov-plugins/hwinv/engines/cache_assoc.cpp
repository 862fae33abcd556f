#include "engines/cache_assoc.hpp"

#include "base/failure.hpp"
#include "base/names.hpp"
#include "engines/candidates.hpp"
#include "engines/cpu_search.hpp"
#include "engines/cpu_tuples.hpp"
#include "store/store.hpp"

#include <array>
#include <string_view>

namespace
{

constexpr std::array handleNames{names::l1CacheHandle, names::l2CacheHandle, names::l3CacheHandle};

/** Records the pair of a match; logged in the name of the search, a refusal with `refusedPath`. */
void recordCachePair(const Site& site, const std::string& cpuPath, const std::string& cachePath,
                     const std::string& refusedPath)
{
    if (addCpuCachePair(cpuPath, cachePath))
    {
        LOG_AT(site, level::info, "Association added successfully");
        LOG_AT(site, level::info, "CPU %s", cpuPath.c_str());
        LOG_AT(site, level::info, "Cache %s", cachePath.c_str());
    }
    else
    {
        LOG_AT(site, level::info, "Association %s not added successfully in the map",
               refusedPath.c_str());
    }
}

// A new cache's processor is worded unlike a candidate of a search.
constexpr UnusableLines unusableCPU{
    "%s SMBIOS object not found for objPath",
    "%s SMBIOS object properties could not be obtained for objPath",
};

/** Looks for the KOVD partner that a processor still lacks; its tuple joins `additions`. */
void pairCPU(const Site& site, const std::string& cpuPath, AssociationList& additions)
{
    const SharedObject cpu = smbiosCPUObjs.findObject(cpuPath);
    if (examine(site, unusableCPU, cpuPath, cpu.get()) == CandidateState::usable)
    {
        IterateKOVDCPUObjs(cpu->properties, cpuPath, additions);
    }
}

/** False when the walk over the cache's processors ends here. */
bool addToPartnerOf(const Site& site, const std::string& cpuPath, AssociationList& additions)
{
    if (!isPathAssociated(smbiosSide, cpuPath))
    {
        pairCPU(site, cpuPath, additions);
    }
    const auto kovdPath = findAssociatedKOVDPath(cpuPath);
    if (!kovdPath)
    {
        LOG_AT(site, level::warning, "%s No associations found for path", cpuPath.c_str());
        return true;
    }
    LOG_AT(site, level::error, "%s associated kovd objpath", kovdPath->c_str());
    if (additions.empty() || kovdPath->empty())
    {
        return true;
    }
    return addAssocTuples(site, *kovdPath, additions);
}

} // namespace

std::size_t checkNumofCacheAssoc(const std::string& cpuPath)
{
    MutexLock lock(cpuCacheAssociationPairsMutex);
    const auto cachePaths = cpuCacheAssociationPairs.cachesOfCPU(cpuPath);
    if (cachePaths.empty())
    {
        CPU_LOG(level::warning, "No associations found for path: %s", cpuPath.c_str());
    }
    for (const std::string& cachePath : cachePaths)
    {
        CPU_LOG(level::trace, "%s associated Cache objpath", cachePath.c_str());
    }
    return cachePaths.size();
}

Verdict CompareCacheAssocProps(const PropertyMap& cpuProperties, const PropertyMap& cacheProperties,
                               std::string& handleName)
{
    // A map without properties has no handle either.
    const PropertyValue* handle = cacheProperties.find(names::handle);
    if (handle == nullptr || cpuProperties.empty())
    {
        return Condition::propertiesPresent;
    }
    const auto cacheHandle = std::get<std::uint16_t>(*handle);
    CPU_LOG(level::trace, "Cache Handle: %d", cacheHandle);
    if (cacheHandle == 0)
    {
        CPU_LOG(level::error, "Cache Handle is 0 in cache object.Therefore no association");
        return Condition::handleNotZero;
    }

    int level = 0;
    for (const std::string_view name : handleNames)
    {
        ++level;
        const PropertyValue* named = cpuProperties.find(name);
        if (named == nullptr)
        {
            continue;
        }
        const auto cpuHandle = std::get<std::uint16_t>(*named);
        CPU_LOG(level::trace, "CPU L%d Cache Handle: %d", level, cpuHandle);
        if (cpuHandle != 0 && cpuHandle == cacheHandle)
        {
            handleName = name;
            return Condition::none;
        }
    }
    return Condition::handleEqual;
}

bool getMatchingHandle(const std::string& cpuPath, const std::string& cachePath,
                       std::string& handleName)
{
    const SharedObject cache = smbiosCacheObjs.findObject(cachePath);
    if (examine(CPU_SITE, unusableSmbios, cachePath, cache.get()) != CandidateState::usable)
    {
        return false;
    }
    const SharedObject cpu = smbiosCPUObjs.findObject(cpuPath);
    if (examine(CPU_SITE, unusableSmbios, cpuPath, cpu.get()) != CandidateState::usable)
    {
        return false;
    }
    if (!CompareCacheAssocProps(cpu->properties, cache->properties, handleName))
    {
        return false;
    }
    CPU_LOG(level::trace, "matching_cache_handle %s", handleName.c_str());
    return true;
}

void FindAssocCacheObjs(const PropertyMap& cpuProperties, const std::string& cpuPath,
                        AssociationList& additions)
try
{
    const Site site = CPU_SITE;
    bool found = false;
    const auto visit = [&](const StoredObject& cache)
    {
        std::string handleName;
        if (CompareCacheAssocProps(cpuProperties, cache.properties, handleName))
        {
            found = true;
            recordCachePair(site, cpuPath, cache.path, cache.path);
            additions.push_back(cacheTuple(handleName, cache.path));
        }
        return Walk::goOn; // a processor has several caches
    };
    const WalkEnd end =
        walkCandidates(site, smbiosCacheObjs, unusableSmbios, OnVanished::endWalk, visit);
    if (end == WalkEnd::behindLast && !found)
    {
        CPU_LOG(level::error, "%s No association found for objPath", cpuPath.c_str());
    }
}
catch (...)
{
    logFailure(
        CPU_SITE,
        {.standard = "error: %s ", .other = "exception", .busError = "Exception occurred %s"});
}

void GetSMBIOSCPUObjForCache(const std::string& cachePath, std::vector<std::string>& cpuPaths,
                             AssociationList& additions)
try
{
    const Site site = CPU_SITE;
    if (!smbiosCacheObjs.hasObject(cachePath))
    {
        CPU_LOG(level::error, "SMbios Cache object not found for objPath: %s", cachePath.c_str());
        return;
    }
    const SharedObject cache = smbiosCacheObjs.findObject(cachePath);
    if (!cache)
    {
        CPU_LOG(level::error, "SMBIOS object not found for objPath: %s", cachePath.c_str());
        return;
    }

    bool found = false;
    const auto visit = [&](const StoredObject& cpu)
    {
        std::string handleName;
        if (CompareCacheAssocProps(cpu.properties, cache->properties, handleName))
        {
            found = true;
            recordCachePair(site, cpu.path, cachePath, cpu.path);
            cpuPaths.push_back(cpu.path);
            additions.push_back(cacheTuple(handleName, cachePath));
        }
        return Walk::goOn; // several processors may name the cache
    };
    const WalkEnd end =
        walkCandidates(site, smbiosCPUObjs, unusableSmbios, OnVanished::endWalk, visit);
    if (end == WalkEnd::behindLast && !found)
    {
        CPU_LOG(level::error, "%s No association found for objPath", cachePath.c_str());
    }
}
catch (...)
{
    logFailure(CPU_SITE, {"Exception: %s", "Unknown exception"});
}

void AddCacheAssoc(const std::string& cachePath)
try
{
    if (hasCPUsOfCache(cachePath))
    {
        CPU_LOG(level::warning, "%s SMBIOS object is already fully associated ", cachePath.c_str());
        return;
    }
    if (!smbiosCacheObjs.hasObject(cachePath))
    {
        CPU_LOG(level::error, "%s SMbios Cache object not found for objPath", cachePath.c_str());
        return;
    }
    if (!smbiosCacheObjs.findObject(cachePath))
    {
        CPU_LOG(level::error, "%s SMBIOS object not found for objPath", cachePath.c_str());
        return;
    }

    // One list for all processors of the cache: what is found for one is offered to the next too.
    AssociationList additions;
    std::vector<std::string> cpuPaths;
    GetSMBIOSCPUObjForCache(cachePath, cpuPaths, additions);
    for (const std::string& cpuPath : cpuPaths)
    {
        if (cpuPath.empty())
        {
            continue;
        }
        if (!addToPartnerOf(CPU_SITE, cpuPath, additions))
        {
            return; // processors behind one that has all tuples are not visited
        }
    }
}
catch (...)
{
    logFailure(CPU_SITE, {"Exception in AddCacheAssoc: %s", "Unknown Exception in AddCacheAssoc"});
}

/** The tuples of the caches recorded for a processor, asked for at `site`. */
static void appendRecordedCaches(const Site& site, const std::string& cpuPath,
                                 AssociationList& additions) REQUIRES(cpuCacheAssociationPairsMutex)
{
    const auto cachePaths = cpuCacheAssociationPairs.cachesOfCPU(cpuPath);
    if (cachePaths.empty())
    {
        LOG_AT(site, level::warning, "No associations found for path: %s", cpuPath.c_str());
        return;
    }
    for (const std::string& cachePath : cachePaths)
    {
        LOG_AT(site, level::error, "associated cacheobjpath  = %s", cachePath.c_str());
    }
    // A recorded pair always yields a tuple, under "cache" when the handle is not known any more.
    for (const std::string& cachePath : cachePaths)
    {
        std::string handleName;
        if (!getMatchingHandle(cpuPath, cachePath, handleName))
        {
            handleName = names::cacheAssociation;
        }
        additions.push_back(cacheTuple(handleName, cachePath));
    }
}

void AssociateCacheObjs(const std::string& cpuPath, AssociationList& additions)
try
{
    if (cpuPath.empty())
    {
        CPU_LOG(level::error, "SMBIOS path is empty");
        return;
    }
    MutexLock lock(cpuCacheAssociationPairsMutex);
    appendRecordedCaches(CPU_SITE, cpuPath, additions);
}
catch (...)
{
    logFailure(CPU_SITE, {.standard = "Exception: %s",
                          .other = "Unknown exception",
                          .busError = "Exception occurred %s"});
}
