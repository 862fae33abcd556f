#include "engines/cpu_assoc.hpp"

#include "base/failure.hpp"
#include "engines/cache_assoc.hpp"
#include "engines/cpu_search.hpp"
#include "engines/cpu_tuples.hpp"
#include "store/one_piece.hpp"
#include "store/store.hpp"

namespace
{

/** Level 1, 2 and 3. */
constexpr std::size_t cacheLevels = 3;

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
    logFailure(
        CPU_SITE,
        {.standard = "error: %s ", .other = "exception", .busError = "Exception occurred %s"});
}

void AssocForSmbiosCPU(const std::string& smbiosPath)
try
{
    if (isFullyAssociated(smbiosPath))
    {
        CPU_LOG(level::warning, "%s SMBIOS object is already fully associated ",
                smbiosPath.c_str());
        return;
    }
    const SharedObject cpu = smbiosCPUObjs.findObject(smbiosPath);
    if (!cpu)
    {
        CPU_LOG(level::error, "SMBIOS object not found for objPath: %s", smbiosPath.c_str());
        return;
    }

    const AssociationList additions = findMissing(cpu->properties, smbiosPath);
    const auto kovdPath = findAssociatedKOVDPath(smbiosPath);
    if (!kovdPath)
    {
        // Normal until the KOVD processor arrives; it then takes the caches recorded here.
        CPU_LOG(level::warning, "%s No associations found for path", smbiosPath.c_str());
        return;
    }
    CPU_LOG(level::error, "%s associated kovd objpath", kovdPath->c_str());
    if (additions.empty() || kovdPath->empty())
    {
        return;
    }
    addAssocTuples(CPU_SITE, *kovdPath, additions);
}
catch (...)
{
    logFailure(CPU_SITE,
               {"Exception in AssocForSmbiosCPU: %s", "Unknown Exception in AssocForSmbiosCPU"});
}

void AssocForKovdCPU(const std::string& kovdPath)
try
{
    const SharedObject cpu = kovdCPUObjs.findObject(kovdPath);
    if (!cpu || cpu->properties.empty())
    {
        CPU_LOG(level::error, "KOVD object not found for objPath: %s", kovdPath.c_str());
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
    CPU_LOG(level::trace, "%s Setting association for kovd object:", kovdPath.c_str());
    writeAssocTuples(CPU_SITE, kovdPath, additions);
}
catch (...)
{
    logFailure(CPU_SITE, {"Exception: %s", "Unknown exception"});
}

bool isFullyAssociated(const std::string& smbiosPath)
{
    return isPathAssociated(smbiosSide, smbiosPath) && hasCachesOfCPU(smbiosPath) &&
           checkNumofCacheAssoc(smbiosPath) == cacheLevels;
}
