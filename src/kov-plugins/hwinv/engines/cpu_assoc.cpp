#include "engines/cpu_assoc.hpp"

#include "base/log.hpp"
#include "engines/cache_assoc.hpp"
#include "engines/candidates.hpp"
#include "engines/cpu_failures.hpp"
#include "engines/cpu_tuples.hpp"
#include "engines/match.hpp"
#include "store/one_piece.hpp"
#include "store/store.hpp"

#include <exception>
#include <optional>

namespace
{

/** Level 1, 2 and 3. */
constexpr std::size_t cacheLevels = 3;

/** Records the pair of a match and appends its tuple; logged in the name of the search. */
void recordMatch(const Site& site, const std::string& smbiosPath, const std::string& kovdPath,
                 AssociationList& additions)
{
    if (addAssociationPair(smbiosPath, kovdPath))
    {
        LOG_AT(site, trace::info, "Association added successfully");
        LOG_AT(site, trace::info, "smbios %s", smbiosPath.c_str());
        LOG_AT(site, trace::info, "kovd %s", kovdPath.c_str());
    }
    else
    {
        // One of the two is paired already; the tuple is written all the same.
        LOG_AT(site, trace::info, "Association %s not added successfully in the map",
               kovdPath.c_str());
    }
    additions.push_back(cpuTuple(smbiosPath));
}

/**
 * The path of the first processor, in path order, whose properties fit; nothing when none does. A
 * vanished or empty entry is logged, with the service's name, and skipped.
 */
template <class Fits>
std::optional<std::string> firstFit(const Site& site, const ObjectMap& cpus, const char* service,
                                    Fits fits)
{
    for (const auto [path, cpu] : Candidates(cpus))
    {
        if (examine(site, service, path, cpu) != CandidateState::usable)
        {
            continue;
        }
        if (fits(cpu->properties))
        {
            return path;
        }
    }
    return std::nullopt;
}

/** The tuples of the partner and the caches that an SMBIOS processor has not found before. */
AssociationList findMissing(const PropertyMap& properties, const std::string& smbiosPath)
{
    AssociationList additions;
    if (!isPathAssociated(smbiosSide, smbiosPath))
    {
        IterateKOVDCPUObjs(properties, smbiosPath, additions);
    }
    if (!hasCachesOfCPU(smbiosPath))
    {
        FindAssocCacheObjs(properties, smbiosPath, additions);
    }
    return additions;
}

} // namespace

void CPUAssociation()
try
{
    for (const std::string& path : smbiosCPUObjs.listObjectPaths())
    {
        MutexLock piece(pieceMutex);
        AssocForSmbiosCPU(path);
    }
}
catch (...)
{
    operationFailed(CPU_SITE);
}

void AssocForSmbiosCPU(const std::string& smbiosPath)
try
{
    if (isFullyAssociated(smbiosPath))
    {
        CPU_LOG(trace::warning, "%s SMBIOS object is already fully associated ",
                smbiosPath.c_str());
        return;
    }
    const SharedObject cpu = smbiosCPUObjs.findObject(smbiosPath);
    if (!cpu)
    {
        CPU_LOG(trace::error, "SMBIOS object not found for objPath: %s", smbiosPath.c_str());
        return;
    }

    const AssociationList additions = findMissing(cpu->properties, smbiosPath);
    std::string kovdPath;
    if (!findAssociatedKOVDPath(smbiosPath, kovdPath))
    {
        // Normal until the KOVD processor arrives; it then takes the caches recorded here.
        CPU_LOG(trace::warning, "%s No associations found for path", smbiosPath.c_str());
        return;
    }
    CPU_LOG(trace::error, "%s associated kovd objpath", kovdPath.c_str());
    if (additions.empty() || kovdPath.empty())
    {
        return;
    }
    addAssocTuples(CPU_SITE, kovdPath, additions);
}
catch (const std::exception& e)
{
    CPU_LOG(trace::error, "Exception in AssocForSmbiosCPU: %s", e.what());
}
catch (...)
{
    CPU_LOG(trace::error, "Unknown Exception in AssocForSmbiosCPU");
}

void AssocForKovdCPU(const std::string& kovdPath)
try
{
    const SharedObject cpu = kovdCPUObjs.findObject(kovdPath);
    if (!cpu || cpu->properties.empty())
    {
        CPU_LOG(trace::error, "KOVD object not found for objPath: %s", kovdPath.c_str());
        return;
    }

    AssociationList additions;
    std::string smbiosPath;
    IterateSMBIOSCPUObjs(cpu->properties, kovdPath, smbiosPath, additions);
    if (!smbiosPath.empty())
    {
        AssociateCacheObjs(smbiosPath, additions);
    }
    if (additions.empty())
    {
        return;
    }
    CPU_LOG(trace::detail, "%s Setting association for kovd object:", kovdPath.c_str());
    writeAssocTuples(CPU_SITE, kovdPath, additions);
}
catch (const std::exception& e)
{
    CPU_LOG(trace::error, "Exception: %s", e.what());
}
catch (...)
{
    CPU_LOG(trace::error, "Unknown exception");
}

void IterateKOVDCPUObjs(const PropertyMap& smbiosProperties, const std::string& smbiosPath,
                        AssociationList& additions)
try
{
    const auto kovdPath = firstFit(
        CPU_SITE, kovdCPUObjs, "KOVD",
        [&](const PropertyMap& kovdProperties)
        { return CompareAssociationProperties(smbiosProperties, kovdProperties, compare::cpu); });
    if (!kovdPath)
    {
        CPU_LOG(trace::error, "%s No association found for objPath", smbiosPath.c_str());
        return;
    }
    recordMatch(CPU_SITE, smbiosPath, *kovdPath, additions);
}
catch (...)
{
    searchFailed(CPU_SITE);
}

void IterateSMBIOSCPUObjs(const PropertyMap& kovdProperties, const std::string& kovdPath,
                          std::string& matchedPath, AssociationList& additions)
try
{
    const auto smbiosPath = firstFit(
        CPU_SITE, smbiosCPUObjs, "SMBIOS",
        [&](const PropertyMap& smbiosProperties)
        { return CompareAssociationProperties(smbiosProperties, kovdProperties, compare::cpu); });
    if (!smbiosPath)
    {
        CPU_LOG(trace::error, "%s No association found for objPath", kovdPath.c_str());
        return;
    }
    matchedPath = *smbiosPath;
    recordMatch(CPU_SITE, *smbiosPath, kovdPath, additions);
}
catch (...)
{
    searchFailed(CPU_SITE);
}

bool isFullyAssociated(const std::string& smbiosPath)
{
    return isPathAssociated(smbiosSide, smbiosPath) && hasCachesOfCPU(smbiosPath) &&
           checkNumofCacheAssoc(smbiosPath) == cacheLevels;
}
