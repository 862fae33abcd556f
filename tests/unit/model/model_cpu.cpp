/* The model of the processor and cache engine. */
#include "model.hpp"

#include <algorithm>

namespace
{

using machine::Kind;
using std::string;

const string file = "hwinv_CPUAssoc";

} // namespace

std::vector<string> model::Model::cachesOf(const string& cpuPath) const
{
    std::vector<string> caches;
    for (const auto& [processor, cache] : world.cachePairs)
    {
        if (processor == cpuPath)
        {
            caches.push_back(cache);
        }
    }
    return caches;
}

std::vector<string> model::Model::cpusOf(const string& cachePath) const
{
    std::vector<string> processors;
    for (const auto& [processor, cache] : world.cachePairs)
    {
        if (cache == cachePath)
        {
            processors.push_back(processor);
        }
    }
    return processors;
}

std::size_t model::Model::countCaches(const string& cpuPath)
{
    const auto caches = cachesOf(cpuPath);
    for (const string& cache : caches)
    {
        cpu(9, "checkNumofCacheAssoc", cache + " associated Cache objpath");
    }
    return caches.size();
}

bool model::Model::fullyAssociated(const string& cpuPath)
{
    return kovdOf(cpuPath) != nullptr && !cachesOf(cpuPath).empty() && countCaches(cpuPath) == 3;
}

/** The property by which the processor names the cache; empty when it does not. */
string model::Model::namedLevel(const ReceivedProperties& cpuProperties,
                                const ReceivedProperties& cache)
{
    const string function = "CompareCacheAssocProps";
    const auto handle = std::get<std::uint16_t>(cache.at("Handle"));
    cpu(9, function, "Cache Handle: " + std::to_string(handle));
    if (handle == 0)
    {
        cpu(1, function, "Cache Handle is 0 in cache object.Therefore no association");
        return "";
    }
    for (const string level : {"L1", "L2", "L3"})
    {
        const auto found = cpuProperties.find(level + "CacheHandle");
        if (found == cpuProperties.end())
        {
            continue;
        }
        const auto named = std::get<std::uint16_t>(found->second);
        cpu(9, function, "CPU " + level + " Cache Handle: " + std::to_string(named));
        if (named == handle)
        {
            return found->first;
        }
    }
    return "";
}

void model::Model::pairCache(const string& function, const string& cpuPath, const string& cachePath)
{
    world.cachePairs.emplace_back(cpuPath, cachePath);
    cpu(5, function, "Association added successfully");
    cpu(5, function, "CPU " + cpuPath);
    cpu(5, function, "Cache " + cachePath);
}

void model::Model::pairCpu(const string& function, const string& smbios, const string& kovd,
                           AssociationList& additions)
{
    if (addPair(smbios, kovd))
    {
        cpu(5, function, "Association added successfully");
        cpu(5, function, "smbios " + smbios);
        cpu(5, function, "kovd " + kovd);
    }
    else
    {
        cpu(5, function, "Association " + kovd + " not added successfully in the map");
    }
    additions.emplace_back("chassis", "processor", smbios);
}

void model::Model::searchKovdCpus(const ReceivedProperties& smbios, const string& smbiosPath,
                                  AssociationList& additions)
{
    const string function = "IterateKOVDCPUObjs";
    for (const auto& [kovdPath, kovd] : world.of(Kind::kovdCpu))
    {
        if (matches(smbios, kovd, 5))
        {
            pairCpu(function, smbiosPath, kovdPath, additions);
            return;
        }
    }
    cpu(1, function, smbiosPath + " No association found for objPath");
}

void model::Model::searchCaches(const ReceivedProperties& cpuProperties, const string& cpuPath,
                                AssociationList& additions)
{
    const string function = "FindAssocCacheObjs";
    bool any = false;
    for (const auto& [cachePath, cache] : world.of(Kind::smbiosCache))
    {
        const string level = namedLevel(cpuProperties, cache);
        if (!level.empty())
        {
            pairCache(function, cpuPath, cachePath);
            additions.emplace_back("processor", level, cachePath);
            any = true;
        }
    }
    if (!any)
    {
        cpu(1, function, cpuPath + " No association found for objPath");
    }
}

void model::Model::associateSmbiosCpu(const string& path)
{
    const string function = "AssocForSmbiosCPU";
    if (fullyAssociated(path))
    {
        cpu(4, function, path + " SMBIOS object is already fully associated ");
        return;
    }
    const auto cpuObject = world.of(Kind::smbiosCpu).find(path);
    if (cpuObject == world.of(Kind::smbiosCpu).end())
    {
        cpu(1, function, "SMBIOS object not found for objPath: " + path);
        return;
    }
    const ReceivedProperties& properties = cpuObject->second;
    AssociationList additions;
    if (kovdOf(path) == nullptr)
    {
        searchKovdCpus(properties, path, additions);
    }
    if (cachesOf(path).empty())
    {
        searchCaches(properties, path, additions);
    }
    const string* partner = kovdOf(path);
    if (partner == nullptr)
    {
        cpu(4, function, path + " No associations found for path");
        return;
    }
    cpu(1, function, *partner + " associated kovd objpath");
    if (!additions.empty())
    {
        mergeAndWrite(function, *partner, additions);
    }
}

void model::Model::associateKovdCpu(const string& path)
{
    const ReceivedProperties& kovd = world.of(Kind::kovdCpu)[path];
    AssociationList list;
    string matched;
    for (const auto& [smbiosPath, smbios] : world.of(Kind::smbiosCpu))
    {
        if (matches(smbios, kovd, 5))
        {
            matched = smbiosPath;
            break;
        }
    }
    if (matched.empty())
    {
        cpu(1, "IterateSMBIOSCPUObjs", path + " No association found for objPath");
        return;
    }
    pairCpu("IterateSMBIOSCPUObjs", matched, path, list);

    const string caches = "AssociateCacheObjs";
    if (cachesOf(matched).empty())
    {
        cpu(4, caches, "No associations found for path: " + matched);
    }
    for (const string& cachePath : cachesOf(matched))
    {
        cpu(1, caches, "associated cacheobjpath  = " + cachePath);
    }
    for (const string& cachePath : cachesOf(matched))
    {
        // A recorded cache or processor is stored: whoever removes it drops its pairs.
        const string level =
            namedLevel(world.of(Kind::smbiosCpu)[matched], world.of(Kind::smbiosCache)[cachePath]);
        if (!level.empty())
        {
            cpu(9, "getMatchingHandle", "matching_cache_handle " + level);
        }
        list.emplace_back("processor", level.empty() ? "cache" : level, cachePath);
    }
    cpu(9, "AssocForKovdCPU", path + " Setting association for kovd object:");
    write("AssocForKovdCPU", path, list);
}

void model::Model::associateCache(const string& path)
{
    const string function = "AddCacheAssoc";
    if (!cpusOf(path).empty())
    {
        cpu(4, function, path + " SMBIOS object is already fully associated ");
        return;
    }
    const ReceivedProperties& cache = world.of(Kind::smbiosCache)[path];
    std::vector<string> cpuPaths;
    AssociationList additions;
    for (const auto& [cpuPath, properties] : world.of(Kind::smbiosCpu))
    {
        const string level = namedLevel(properties, cache);
        if (!level.empty())
        {
            pairCache("GetSMBIOSCPUObjForCache", cpuPath, path);
            cpuPaths.push_back(cpuPath);
            additions.emplace_back("processor", level, path);
        }
    }
    if (cpuPaths.empty())
    {
        cpu(1, "GetSMBIOSCPUObjForCache", path + " No association found for objPath");
    }
    for (const string& cpuPath : cpuPaths)
    {
        if (kovdOf(cpuPath) == nullptr)
        {
            searchKovdCpus(world.of(Kind::smbiosCpu)[cpuPath], cpuPath, additions);
        }
        const string* partner = kovdOf(cpuPath);
        if (partner == nullptr)
        {
            cpu(4, function, cpuPath + " No associations found for path");
            continue;
        }
        cpu(1, function, *partner + " associated kovd objpath");
        if (!mergeAndWrite(function, *partner, additions))
        {
            return;
        }
    }
}

bool model::Model::readList(const string& kovdPath, AssociationList& list)
{
    const string function = "GetCurrentAssocTuples";
    cpu(9, function, "kovdCPUObjPath = " + kovdPath);
    const auto found = world.written.find(kovdPath);
    if (found == world.written.end())
    {
        cpu(5, function, "No association found for path " + kovdPath);
        return false;
    }
    list = found->second;
    cpu(9, function, "assocVec size: " + std::to_string(list.size()));
    if (list.empty())
    {
        cpu(9, function, kovdPath + " empty association tuples vector exist");
    }
    for (const auto& [forward, backward, endpoint] : list)
    {
        cpu(9, function, " path " + endpoint + " forward: " + forward + ", backward: " + backward);
    }
    return true;
}

void model::Model::storeList(const string& kovdPath, const AssociationList& list)
{
    const string function = "UpdateCurrentAssocTuples";
    cpu(9, function, "kovdCPUObjPath = " + kovdPath);
    if (!world.written.contains(kovdPath))
    {
        cpu(5, function, kovdPath + " Association being added for the first time");
    }
    world.written[kovdPath] = list;
    for (const auto& [forward, backward, endpoint] : list)
    {
        cpu(9, function, " path " + endpoint + " forward: " + forward + ", backward: " + backward);
    }
}

void model::Model::write(const string& function, const string& kovdPath,
                         const AssociationList& list)
{
    if (handOver(file, function, kovdPath, list))
    {
        storeList(kovdPath, list);
    }
}

/** False when there was nothing new. */
bool model::Model::mergeAndWrite(const string& function, const string& kovdPath,
                                 const AssociationList& additions)
{
    AssociationList list;
    if (!readList(kovdPath, list))
    {
        cpu(1, function, "GetCurrentAssocTuples failed");
    }
    const std::size_t before = list.size();
    for (const AssociationTuple& tuple : additions)
    {
        if (std::count(list.begin(), list.end(), tuple) == 0)
        {
            list.push_back(tuple);
        }
    }
    if (list.size() == before)
    {
        cpu(1, function, "All same tuples");
        return false;
    }
    write(function, kovdPath, list);
    return true;
}

void model::Model::prune(const string& function, const string& kovdPath,
                         const std::vector<string>& endpoints)
{
    AssociationList list;
    if (!readList(kovdPath, list))
    {
        cpu(1, function, "GetCurrentAssocTuples failed");
        return;
    }
    for (const string& endpoint : endpoints)
    {
        if (std::erase_if(list, [&](const AssociationTuple& tuple)
                          { return std::get<2>(tuple) == endpoint; }) == 0)
        {
            cpu(1, function, "RemoveAssocTuple failed");
            return;
        }
    }
    write(function, kovdPath, list);
}

void model::Model::removeSmbiosCpu(const string& path)
{
    const string function = "removeSMBIOSCPUAssoc";
    if (world.of(Kind::smbiosCpu).erase(path) != 0)
    {
        cpu(5, function, path + " successfully removed from the map");
    }
    const string* partner = kovdOf(path);
    const string kovdPath = partner != nullptr ? *partner : "";
    if (partner == nullptr)
    {
        cpu(4, function, path + " No associations found for path");
    }
    else
    {
        cpu(1, function, kovdPath + " associated kovd objpath");
        dropPairOfKovd(kovdPath);
    }
    const auto caches = cachesOf(path);
    if (caches.empty())
    {
        cpu(4, function, "No associations found for path: " + path);
    }
    for (const string& cache : caches)
    {
        cpu(1, function, cache + " associated Cache objpath");
    }
    std::erase_if(world.cachePairs, [&](const PathPair& pair) { return pair.first == path; });
    if (kovdPath.empty())
    {
        cpu(1, function, "kovdCPUObjPath is empty");
        return;
    }
    std::vector<string> endpoints = {path};
    endpoints.insert(endpoints.end(), caches.begin(), caches.end());
    prune(function, kovdPath, endpoints);
}

void model::Model::removeSmbiosCache(const string& path)
{
    const string function = "removeSMBIOSCacheAssoc";
    if (world.of(Kind::smbiosCache).erase(path) != 0)
    {
        cpu(5, function, path + " successfully removed from the map");
    }
    const auto processors = cpusOf(path);
    if (processors.empty())
    {
        cpu(4, function, "No associations path: " + path);
        return;
    }
    cpu(1, function, "associated smbios objpath  = " + processors.front());
    std::erase_if(world.cachePairs, [&](const PathPair& pair) { return pair.second == path; });
    const string* partner = kovdOf(processors.front());
    if (partner == nullptr)
    {
        cpu(4, function, processors.front() + " No associations found for path");
        return;
    }
    cpu(1, function, *partner + " associated kovd objpath");
    prune(function, *partner, {path});
}

void model::Model::removeKovdCpu(const string& path)
{
    const string function = "removeKOVDCPUAssoc";
    if (world.of(Kind::kovdCpu).erase(path) != 0)
    {
        cpu(5, function, path + " KOVD path removed from the map:");
    }
    if (world.written.erase(path) != 0)
    {
        cpu(9, function, path + " CPUKOVDAssocTuples entry eraised");
    }
}
