#include "invariants.hpp"

#include "machine.hpp"
#include "state.hpp"
#include "store/store.hpp"

#include <algorithm>
#include <functional>
#include <utility>

namespace
{

using machine::Kind;
using std::string;
using Texts = std::vector<string>;
using Pairs = std::vector<std::pair<string, string>>;

void checkMap(Kind kind, Texts& texts)
{
    const ObjectMap& map = state::mapOf(kind);
    const Texts paths = map.listObjectPaths();
    const auto wrong = std::adjacent_find(paths.begin(), paths.end(), std::greater_equal<>());
    if (wrong != paths.end())
    {
        texts.push_back(*wrong + " is listed before " + *std::next(wrong));
    }
    for (const string& path : paths)
    {
        const SharedObject object = map.findObject(path);
        if (object == nullptr || object->path != path)
        {
            texts.push_back(path + " is listed and not stored");
        }
    }
}

/** `there` and `back` find a path's partner on the other side; null when it has none. */
void checkPartners(Kind kind, const auto& there, const auto& back, Texts& texts)
{
    for (const string& path : machine::pathsOf(kind))
    {
        const string* const partner = there(path);
        const string* const again = partner == nullptr ? nullptr : back(*partner);
        if (partner != nullptr && (again == nullptr || *again != path))
        {
            texts.push_back(path + " is paired with " + *partner + ", which is paired with " +
                            (again == nullptr ? "nothing" : *again));
        }
    }
}

void checkPairs(Texts& texts)
{
    MutexLock lock(associationPairsMutex);
    const AssociationPairs* const table = &associationPairs;
    const auto kovd = [&](const string& path) { return table->kovdPartner(path); };
    const auto smbios = [&](const string& path) { return table->smbiosPartner(path); };
    for (const Kind kind : {Kind::smbiosSlot, Kind::smbiosCpu})
    {
        checkPartners(kind, kovd, smbios, texts);
    }
    for (const Kind kind : {Kind::kovdSlot, Kind::kovdDevice, Kind::kovdChassis, Kind::kovdCpu})
    {
        checkPartners(kind, smbios, kovd, texts);
    }
}

void checkCachePairs(Texts& texts)
{
    Pairs fromProcessors;
    Pairs fromCaches;
    MutexLock lock(cpuCacheAssociationPairsMutex);
    for (const string& cpu : machine::pathsOf(Kind::smbiosCpu))
    {
        for (const string& cache : cpuCacheAssociationPairs.cachesOfCPU(cpu))
        {
            fromProcessors.emplace_back(cpu, cache);
        }
    }
    for (const string& cache : machine::pathsOf(Kind::smbiosCache))
    {
        for (const string& cpu : cpuCacheAssociationPairs.cpusOfCache(cache))
        {
            fromCaches.emplace_back(cpu, cache);
        }
    }
    std::sort(fromProcessors.begin(), fromProcessors.end());
    std::sort(fromCaches.begin(), fromCaches.end());
    if (fromProcessors != fromCaches)
    {
        texts.push_back("processors name " + std::to_string(fromProcessors.size()) +
                        " cache pairs and caches name " + std::to_string(fromCaches.size()) +
                        ", or others");
    }
}

} // namespace

Texts invariants::broken()
{
    Texts texts;
    for (int kind = 0; kind < machine::kindCount; ++kind)
    {
        checkMap(static_cast<Kind>(kind), texts);
    }
    checkPairs(texts);
    checkCachePairs(texts);
    return texts;
}
