/*
 * The whole of matching, storing and associating against a model: random events happen to both,
 * and after each one everything that can be seen must be equal.
 *
 * RC_PARAMS="max_success=10000 seed=1" asks RapidCheck for more, or for the same again.
 */
#include "doubles/fresh_store.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "engines/cpu_assoc.hpp"
#include "engines/find_association.hpp"
#include "intake/workers.hpp"
#include "model.hpp"
#include "objects/cpu_objects.hpp"
#include "objects/pcie_objects.hpp"
#include "random_events.hpp"
#include "store/store.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <sstream>

namespace
{

using machine::Event;
using machine::Kind;
using model::Line;
using std::string;

constexpr std::array<void (*)(const string&, const PropertyMap&), machine::kindCount> inserts = {
    InsertSMBIOSPCIeSlotObj,  InsertKOVDPCIeSlotObj,
    InsertKOVDPCIeDevicesObj, InsertKOVDChassisPathSlotObjs,
    InsertSMBIOSCPUObj,       InsertSMBIOSCacheObj,
    InsertKOVDCPUObj,
};

const std::array<ObjectMap*, machine::kindCount> maps = {
    &smbiosPCIeSlotObjs, &kovdPCIeSlotObjs, &kovdPCIeDeviceObjs, &kovdChassisPathSlotObjs,
    &smbiosCPUObjs,      &smbiosCacheObjs,  &kovdCPUObjs,
};

void remove(Kind kind, const string& path)
{
    if (kind == Kind::smbiosSlot)
    {
        removeSMBIOSPCIeAssociations(path);
        return;
    }
    kind == Kind::smbiosCpu ? removeSMBIOSCPUAssoc(path) : removeSMBIOSCacheAssoc(path);
}

void removeFromPlatform(const string& path, const std::vector<string>& interfaces)
{
    SignalRecord record;
    record.type = SignalType::InterfacesRemoved;
    record.objectPath = path;
    record.removedInterfaces = interfaces;
    processKovdRecord({log_label::util, "processKovdMessagesInQueue"}, record);
}

/** The event as it reaches the daemon. */
void happenToTheDaemon(const Event& event)
{
    recorded_requests::setResult(event.handOverResult);
    switch (event.type)
    {
        case Event::Type::insert:
            inserts[static_cast<std::size_t>(event.kind)](event.path, event.properties);
            break;
        case Event::Type::removal:
            remove(event.kind, event.path);
            break;
        case Event::Type::kovdRemoval:
            removeFromPlatform(event.path, event.interfaces);
            break;
        case Event::Type::pciePass:
            AssociateSMBIOSPCIESlotsObjToKOVDObjs();
            break;
        case Event::Type::cpuPass:
            CPUAssociation();
            break;
    }
}

// What is compared: texts, so that a difference can be read.

std::ostream& operator<<(std::ostream& out, const Line& line)
{
    return out << line.level << " " << line.file << "." << line.function << ": " << line.text;
}

template <class Type>
string shown(const Type& value)
{
    std::ostringstream text;
    text << value;
    return text.str();
}

string shown(const PropertyMap& properties)
{
    Event event;
    event.properties = properties;
    return shown<Event>(event);
}

string shown(const AssociationList& list)
{
    string text;
    for (const auto& [forward, backward, endpoint] : list)
    {
        text += " (" + forward + ", " + backward + ", " + endpoint + ")";
    }
    return text;
}

using Texts = std::vector<string>;

Texts linesOfTheDaemon()
{
    Texts texts;
    for (const LogLine& line : recorded_log::lines())
    {
        const string module = line.module == 357 ? "" : "module " + std::to_string(line.module);
        texts.push_back(module + shown(Line{line.level, line.file, line.function, line.text}));
    }
    return texts;
}

Texts linesOfTheModel(const model::Model& expected)
{
    Texts texts;
    for (const Line& line : expected.log)
    {
        texts.push_back(shown(line));
    }
    return texts;
}

Texts handOversOfTheDaemon()
{
    Texts texts;
    for (const AssociationRequest& request : recorded_requests::all())
    {
        texts.push_back("written " + request.objectPath + shown(request.associations));
    }
    texts.push_back(std::to_string(recorded_requests::refused()) + " refused");
    return texts;
}

Texts handOversOfTheModel(const model::World& world)
{
    Texts texts;
    for (const model::HandOver& handOver : world.handOvers)
    {
        texts.push_back("written " + handOver.path + shown(handOver.list));
    }
    texts.push_back(std::to_string(world.refused) + " refused");
    return texts;
}

/** Every pair, seen from each of its sides; in no order but that of the machine's paths. */
Texts pairsOfTheDaemon()
{
    Texts texts;
    for (int number = 0; number < machine::kindCount; ++number)
    {
        for (const string& path : machine::pathsOf(static_cast<Kind>(number)))
        {
            MutexLock lock(associationPairsMutex);
            if (const string* kovd = associationPairs.kovdPartner(path))
            {
                texts.push_back(path + " has " + *kovd);
            }
            if (const string* smbios = associationPairs.smbiosPartner(path))
            {
                texts.push_back(path + " is of " + *smbios);
            }
        }
    }
    return texts;
}

Texts pairsOfTheModel(const model::World& world)
{
    Texts texts;
    for (int number = 0; number < machine::kindCount; ++number)
    {
        for (const string& path : machine::pathsOf(static_cast<Kind>(number)))
        {
            for (const auto& [smbios, kovd] : world.pairs)
            {
                if (path == smbios)
                {
                    texts.push_back(path + " has " + kovd);
                }
                if (path == kovd)
                {
                    texts.push_back(path + " is of " + smbios);
                }
            }
        }
    }
    return texts;
}

/** The caches of each processor and the processors of each cache, in the order of pairing. */
Texts cachePairsOfTheDaemon()
{
    Texts texts;
    MutexLock lock(cpuCacheAssociationPairsMutex);
    for (const string& cpu : machine::pathsOf(Kind::smbiosCpu))
    {
        for (const string& cache : cpuCacheAssociationPairs.cachesOfCPU(cpu))
        {
            texts.push_back(cpu + " has " + cache);
        }
    }
    for (const string& cache : machine::pathsOf(Kind::smbiosCache))
    {
        for (const string& cpu : cpuCacheAssociationPairs.cpusOfCache(cache))
        {
            texts.push_back(cache + " is of " + cpu);
        }
    }
    return texts;
}

Texts cachePairsOfTheModel(const model::World& world)
{
    Texts texts;
    for (const string& path : machine::pathsOf(Kind::smbiosCpu))
    {
        for (const auto& [cpu, cache] : world.cachePairs)
        {
            if (cpu == path)
            {
                texts.push_back(cpu + " has " + cache);
            }
        }
    }
    for (const string& path : machine::pathsOf(Kind::smbiosCache))
    {
        for (const auto& [cpu, cache] : world.cachePairs)
        {
            if (cache == path)
            {
                texts.push_back(cache + " is of " + cpu);
            }
        }
    }
    return texts;
}

Texts objectsOfTheDaemon()
{
    Texts texts;
    for (const ObjectMap* map : maps)
    {
        for (const string& path : map->listObjectPaths())
        {
            PropertyMap properties;
            map->getObject(path, &properties);
            texts.push_back(path + ": " + shown(properties));
        }
        texts.emplace_back("end of map");
    }
    return texts;
}

Texts objectsOfTheModel(const model::World& world)
{
    Texts texts;
    for (const model::Objects& objects : world.objects)
    {
        for (const auto& [path, properties] : objects)
        {
            texts.push_back(path + ": " + shown(properties));
        }
        texts.emplace_back("end of map");
    }
    return texts;
}

Texts lists(const auto& written)
{
    Texts texts;
    for (const auto& [path, list] : written)
    {
        texts.push_back(path + shown(list));
    }
    return texts;
}

Texts listsOfTheDaemon()
{
    MutexLock lock(CPUKOVDAssocTuplesMutex);
    return lists(CPUKOVDAssocTuples);
}

/** Empty when the two are equal, else what differs first. */
string difference(const char* what, const Texts& actual, const Texts& expected)
{
    const auto [left, right] =
        std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    if (left == actual.end() && right == expected.end())
    {
        return "";
    }
    return string(what) + ", number " + std::to_string(left - actual.begin()) +
           ":\n  daemon: " + (left != actual.end() ? *left : "nothing") +
           "\n  model:  " + (right != expected.end() ? *right : "nothing") + "\n";
}

string differences(const model::Model& expected)
{
    const model::World& world = expected.world;
    return difference("lines", linesOfTheDaemon(), linesOfTheModel(expected)) +
           difference("hand-overs", handOversOfTheDaemon(), handOversOfTheModel(world)) +
           difference("objects", objectsOfTheDaemon(), objectsOfTheModel(world)) +
           difference("pairs", pairsOfTheDaemon(), pairsOfTheModel(world)) +
           difference("cache pairs", cachePairsOfTheDaemon(), cachePairsOfTheModel(world)) +
           difference("lists", listsOfTheDaemon(), lists(world.written)) +
           difference("recovery", {takeRecoveryRequest() ? "requested" : "not requested"},
                      {world.recoveryRequested ? "requested" : "not requested"});
}

RC_GTEST_PROP(Daemon, doesWhatTheModelDoes, ())
{
    const auto events = *random_events::sequence();
    resetStore();
    model::Model expected;
    for (const Event& event : events)
    {
        recorded_log::clear();
        happenToTheDaemon(event);
        expected.happen(event);
        const string difference = differences(expected);
        if (!difference.empty())
        {
            RC_FAIL(shown(event) + "\n" + difference);
        }
    }
}

} // namespace
