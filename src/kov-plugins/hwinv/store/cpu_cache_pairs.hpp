/*
 * Which SMBIOS cache belongs to which SMBIOS processor. Neither side is unique: a processor
 * normally has three caches, and a cache whose handle two processors name is paired with both.
 *
 * Example: after add("/cpu1", "/l1"), add("/cpu1", "/l2"), add("/cpu2", "/l1") the caches of
 * "/cpu1" are "/l1", "/l2" and the processors of "/l1" are "/cpu1", "/cpu2", each in the order in
 * which it was added. An equal pair may be there more than once.
 *
 * The class has no lock of its own; the process-wide table is `cpuCacheAssociationPairs`, guarded
 * by `cpuCacheAssociationPairsMutex`. Lock order: that mutex before the mutexes of the processor
 * and cache maps, never the other way.
 */
#pragma once

#include "base/mutex.hpp"

#include <map>
#include <string>
#include <string_view>
#include <vector>

class CpuCachePairs
{
  public:
    /** Always true. */
    bool add(const std::string& cpuPath, const std::string& cachePath);

    bool containsCPU(std::string_view cpuPath) const;
    bool containsCache(std::string_view cachePath) const;

    /** In the order in which the pairs were added; empty when there is none. */
    std::vector<std::string> cachesOfCPU(std::string_view cpuPath) const;
    std::vector<std::string> cpusOfCache(std::string_view cachePath) const;

    void eraseCPU(std::string_view cpuPath);
    void eraseCache(std::string_view cachePath);

  private:
    using Index = std::multimap<std::string, std::string, std::less<>>;

    static std::vector<std::string> partners(const Index& index, std::string_view path);
    static void erase(Index& from, Index& other, std::string_view path);

    Index byCPU_;
    Index byCache_;
};

extern Mutex cpuCacheAssociationPairsMutex;
extern CpuCachePairs cpuCacheAssociationPairs GUARDED_BY(cpuCacheAssociationPairsMutex);

/** Always true. */
bool addCpuCachePair(const std::string& cpuPath, const std::string& cachePath)
    EXCLUDES(cpuCacheAssociationPairsMutex);

bool hasCachesOfCPU(std::string_view cpuPath) EXCLUDES(cpuCacheAssociationPairsMutex);
bool hasCPUsOfCache(std::string_view cachePath) EXCLUDES(cpuCacheAssociationPairsMutex);
