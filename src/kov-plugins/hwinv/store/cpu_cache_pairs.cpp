#include "store/cpu_cache_pairs.hpp"

Mutex cpuCacheAssociationPairsMutex;
CpuCachePairs cpuCacheAssociationPairs;

bool CpuCachePairs::add(const std::string& cpuPath, const std::string& cachePath)
{
    const auto added = byCPU_.emplace(cpuPath, cachePath);
    try
    {
        byCache_.emplace(cachePath, cpuPath);
    }
    catch (...)
    {
        byCPU_.erase(added); // both sides or none
        throw;
    }
    return true;
}

bool CpuCachePairs::containsCPU(std::string_view cpuPath) const
{
    return byCPU_.contains(cpuPath);
}

bool CpuCachePairs::containsCache(std::string_view cachePath) const
{
    return byCache_.contains(cachePath);
}

std::vector<std::string> CpuCachePairs::cachesOfCPU(std::string_view cpuPath) const
{
    return partners(byCPU_, cpuPath);
}

std::vector<std::string> CpuCachePairs::cpusOfCache(std::string_view cachePath) const
{
    return partners(byCache_, cachePath);
}

void CpuCachePairs::eraseCPU(std::string_view cpuPath)
{
    erase(byCPU_, byCache_, cpuPath);
}

void CpuCachePairs::eraseCache(std::string_view cachePath)
{
    erase(byCache_, byCPU_, cachePath);
}

std::vector<std::string> CpuCachePairs::partners(const Index& index, std::string_view path)
{
    std::vector<std::string> found;
    const auto [first, last] = index.equal_range(path);
    for (auto pair = first; pair != last; ++pair)
    {
        found.push_back(pair->second);
    }
    return found;
}

void CpuCachePairs::erase(Index& from, Index& other, std::string_view path)
{
    const auto [first, last] = from.equal_range(path);
    for (auto pair = first; pair != last; ++pair)
    {
        const auto [otherFirst, otherLast] = other.equal_range(pair->second);
        for (auto mirror = otherFirst; mirror != otherLast;)
        {
            mirror = mirror->second == path ? other.erase(mirror) : std::next(mirror);
        }
    }
    from.erase(first, last);
}

bool addCpuCachePair(const std::string& cpuPath, const std::string& cachePath)
{
    MutexLock lock(cpuCacheAssociationPairsMutex);
    return cpuCacheAssociationPairs.add(cpuPath, cachePath);
}

bool hasCachesOfCPU(std::string_view cpuPath)
{
    MutexLock lock(cpuCacheAssociationPairsMutex);
    return cpuCacheAssociationPairs.containsCPU(cpuPath);
}

bool hasCPUsOfCache(std::string_view cachePath)
{
    MutexLock lock(cpuCacheAssociationPairsMutex);
    return cpuCacheAssociationPairs.containsCache(cachePath);
}
