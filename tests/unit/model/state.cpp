#include "state.hpp"

#include "doubles/fresh_store.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/sample_objects.hpp"
#include "store/store.hpp"

namespace
{

using machine::Kind;
using model::World;
using state::Relation;
using state::State;
using state::Texts;
using std::string;

constexpr std::array smbiosSides = {Kind::smbiosSlot, Kind::smbiosCpu};
constexpr std::array kovdSides = {Kind::kovdSlot, Kind::kovdDevice, Kind::kovdChassis,
                                  Kind::kovdCpu};

/** The maps in the order of the kinds. */
const std::array<ObjectMap*, machine::kindCount> maps = {
    &smbiosPCIeSlotObjs, &kovdPCIeSlotObjs, &kovdPCIeDeviceObjs, &kovdChassisPathSlotObjs,
    &smbiosCPUObjs,      &smbiosCacheObjs,  &kovdCPUObjs,
};

constexpr std::array<InsertOperation, machine::kindCount> inserts = {
    InsertSMBIOSPCIeSlotObj,  InsertKOVDPCIeSlotObj,
    InsertKOVDPCIeDevicesObj, InsertKOVDChassisPathSlotObjs,
    InsertSMBIOSCPUObj,       InsertSMBIOSCacheObj,
    InsertKOVDCPUObj,
};

model::Objects objectsIn(const ObjectMap& map)
{
    model::Objects objects;
    const ObjectMap::Snapshot snapshot = map.snapshot();
    for (const SharedObject& object : *snapshot)
    {
        objects[object->path] = sample::received(object->properties);
    }
    return objects;
}

/** `kovdOf` and `smbiosOf` return the partner of a path, null when it has none. */
Relation pairsSeen(const auto& kovdOf, const auto& smbiosOf)
{
    Relation pairs;
    const auto add = [&](const string& path, const string* partner)
    {
        if (partner != nullptr)
        {
            pairs.emplace_back(path, *partner);
        }
    };
    for (const Kind kind : smbiosSides)
    {
        for (const string& path : machine::pathsOf(kind))
        {
            add(path, kovdOf(path));
        }
    }
    for (const Kind kind : kovdSides)
    {
        for (const string& path : machine::pathsOf(kind))
        {
            add(path, smbiosOf(path));
        }
    }
    return pairs;
}

Relation pairsOf(const AssociationPairs& table)
{
    return pairsSeen([&](const string& path) { return table.kovdPartner(path); },
                     [&](const string& path) { return table.smbiosPartner(path); });
}

Relation pairsOfTheDaemon()
{
    MutexLock lock(associationPairsMutex);
    return pairsOf(associationPairs);
}

Relation pairsOfTheModel(const World& world)
{
    const auto partner = [&](auto mine, auto other)
    {
        return [&world, mine, other](const string& path) -> const string*
        {
            for (const model::PathPair& pair : world.pairs)
            {
                if (pair.*mine == path)
                {
                    return &(pair.*other);
                }
            }
            return nullptr;
        };
    };
    return pairsSeen(partner(&model::PathPair::first, &model::PathPair::second),
                     partner(&model::PathPair::second, &model::PathPair::first));
}

Relation cachePairsOfTheDaemon()
{
    Relation pairs;
    MutexLock lock(cpuCacheAssociationPairsMutex);
    for (const string& cpu : machine::pathsOf(Kind::smbiosCpu))
    {
        for (const string& cache : cpuCacheAssociationPairs.cachesOfCPU(cpu))
        {
            pairs.emplace_back(cpu, cache);
        }
    }
    for (const string& cache : machine::pathsOf(Kind::smbiosCache))
    {
        for (const string& cpu : cpuCacheAssociationPairs.cpusOfCache(cache))
        {
            pairs.emplace_back(cache, cpu);
        }
    }
    return pairs;
}

Relation cachePairsOfTheModel(const World& world)
{
    Relation pairs;
    for (const string& path : machine::pathsOf(Kind::smbiosCpu))
    {
        for (const auto& [cpu, cache] : world.cachePairs)
        {
            if (cpu == path)
            {
                pairs.emplace_back(cpu, cache);
            }
        }
    }
    for (const string& path : machine::pathsOf(Kind::smbiosCache))
    {
        for (const auto& [cpu, cache] : world.cachePairs)
        {
            if (cache == path)
            {
                pairs.emplace_back(cache, cpu);
            }
        }
    }
    return pairs;
}

std::map<string, AssociationList> listsOfTheDaemon()
{
    MutexLock lock(CPUKOVDAssocTuplesMutex);
    return {CPUKOVDAssocTuples.begin(), CPUKOVDAssocTuples.end()};
}

} // namespace

State state::ofTheDaemon()
{
    State state;
    for (std::size_t kind = 0; kind < maps.size(); ++kind)
    {
        state.objects[kind] = objectsIn(*maps[kind]);
    }
    state.pairs = pairsOfTheDaemon();
    state.cachePairs = cachePairsOfTheDaemon();
    state.written = listsOfTheDaemon();
    for (const AssociationRequest& request : recorded_requests::all())
    {
        state.handedOver[request.objectPath] = request.associations;
    }
    state.recoveryRequested = takeRecoveryRequest();
    return state;
}

State state::ofTheModel(const World& world)
{
    State state;
    state.objects = world.objects;
    state.pairs = pairsOfTheModel(world);
    state.cachePairs = cachePairsOfTheModel(world);
    state.written = world.written;
    for (const model::HandOver& handOver : world.handOvers)
    {
        state.handedOver[handOver.path] = handOver.list;
    }
    state.recoveryRequested = world.recoveryRequested;
    return state;
}

ObjectMap& state::mapOf(Kind kind)
{
    return *maps[static_cast<std::size_t>(kind)];
}

InsertOperation state::insertOf(Kind kind)
{
    return inserts[static_cast<std::size_t>(kind)];
}

Texts state::shown(const State& state)
{
    Texts texts;
    for (const model::Objects& objects : state.objects)
    {
        for (const auto& [path, properties] : objects)
        {
            texts.push_back("stored " + path + ": " + machine::shown(properties));
        }
    }
    for (const auto& [path, partner] : state.pairs)
    {
        texts.push_back("pair " + path + " and " + partner);
    }
    for (const auto& [path, partner] : state.cachePairs)
    {
        texts.push_back("cache pair " + path + " and " + partner);
    }
    for (const auto& [path, list] : state.written)
    {
        texts.push_back("kept list " + path + shown(list));
    }
    for (const auto& [path, list] : state.handedOver)
    {
        texts.push_back("last handed over " + path + shown(list));
    }
    texts.emplace_back(state.recoveryRequested ? "recovery requested" : "no recovery requested");
    return texts;
}

string state::shown(const AssociationList& list)
{
    string text;
    for (const auto& [forward, backward, endpoint] : list)
    {
        text += " (" + forward + ", " + backward + ", " + endpoint + ")";
    }
    return text;
}
