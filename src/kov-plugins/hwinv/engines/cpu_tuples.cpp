#include "engines/cpu_tuples.hpp"

#include "base/names.hpp"
#include "bus/association_writer.hpp"
#include "store/store.hpp"

#include <algorithm>

namespace
{

void logPath(const Site& site, const std::string& kovdCPUPath)
{
    LOG_AT(site, level::trace, "kovdCPUObjPath = %s", kovdCPUPath.c_str());
}

void logTuples(const Site& site, const AssociationList& list)
{
    for (const auto& [forward, backward, endpoint] : list)
    {
        LOG_AT(site, level::trace, " path %s forward: %s, backward: %s", endpoint.c_str(),
               forward.c_str(), backward.c_str());
    }
}

} // namespace

int GetCurrentAssocTuples(const std::string& kovdCPUPath, AssociationList& list)
{
    logPath(CPU_SITE, kovdCPUPath);
    if (kovdCPUPath.empty())
    {
        return -1;
    }
    MutexLock lock(CPUKOVDAssocTuplesMutex);
    const auto entry = CPUKOVDAssocTuples.find(kovdCPUPath);
    if (entry == CPUKOVDAssocTuples.end())
    {
        CPU_LOG(level::info, "No association found for path %s", kovdCPUPath.c_str());
        return -1;
    }
    list = entry->second;
    CPU_LOG(level::trace, "assocVec size: %ld", static_cast<long>(list.size()));
    if (list.empty())
    {
        CPU_LOG(level::trace, "%s empty association tuples vector exist", kovdCPUPath.c_str());
        return 0;
    }
    logTuples(CPU_SITE, list);
    return 0;
}

void UpdateCurrentAssocTuples(const std::string& kovdCPUPath, const AssociationList& list)
{
    logPath(CPU_SITE, kovdCPUPath);
    if (kovdCPUPath.empty())
    {
        CPU_LOG(level::error, "Invalid kovdCPUObjPath");
        return;
    }
    MutexLock lock(CPUKOVDAssocTuplesMutex);
    const auto [entry, first] = CPUKOVDAssocTuples.try_emplace(kovdCPUPath);
    if (first)
    {
        CPU_LOG(level::info, "%s Association being added for the first time", kovdCPUPath.c_str());
    }
    entry->second = list;
    logTuples(CPU_SITE, list);
}

int RemoveAssocTuple(AssociationList& list, const std::string& endpoint)
{
    // The list is the caller's own; the lock only puts the engine's tuple work in sequence.
    MutexLock lock(CPUKOVDAssocTuplesMutex);
    const auto removed = std::erase_if(list, [&](const AssociationTuple& tuple)
                                       { return std::get<2>(tuple) == endpoint; });
    return removed != 0 ? 0 : -1;
}

int MergeAssocTuples(AssociationList& current, const std::string& /*kovdCPUPath*/,
                     const AssociationList& additions)
{
    bool added = false;
    for (const AssociationTuple& tuple : additions)
    {
        if (std::find(current.begin(), current.end(), tuple) == current.end())
        {
            current.push_back(tuple);
            added = true;
        }
    }
    return added ? 0 : -1;
}

void writeAssocTuples(const Site& site, const std::string& kovdCPUPath, const AssociationList& list)
{
    if (sendAssociations(site, kovdCPUPath, list) == 0)
    {
        UpdateCurrentAssocTuples(kovdCPUPath, list);
    }
}

bool addAssocTuples(const Site& site, const std::string& kovdCPUPath,
                    const AssociationList& additions)
{
    AssociationList current;
    if (GetCurrentAssocTuples(kovdCPUPath, current) == -1)
    {
        // Normal for the first list of a processor: it starts from nothing.
        LOG_AT(site, level::error, "GetCurrentAssocTuples failed");
    }
    if (MergeAssocTuples(current, kovdCPUPath, additions) == -1)
    {
        LOG_AT(site, level::error, "All same tuples");
        return false;
    }
    writeAssocTuples(site, kovdCPUPath, current);
    return true;
}

AssociationTuple cpuTuple(const std::string& smbiosCPUPath)
{
    return {std::string(names::chassisAssociation), std::string(names::processorAssociation),
            smbiosCPUPath};
}

AssociationTuple cacheTuple(const std::string& handleName, const std::string& cachePath)
{
    return {std::string(names::processorAssociation),
            handleName.empty() ? std::string(names::cacheAssociation) : handleName, cachePath};
}
