#include "inspect/engine_run.hpp"

#include "base/recovery_request.hpp"
#include "engines/cpu_assoc.hpp"
#include "engines/find_association.hpp"
#include "inspect/seams.hpp"
#include "intake/rows.hpp"
#include "store/store.hpp"

#include <algorithm>
#include <array>

namespace inspect
{
namespace
{

struct KindOfMap
{
    Kind kind;
    ObjectMap& objects;
};

const std::array<KindOfMap, kindCount> maps{{
    {Kind::smbiosSlot, smbiosPCIeSlotObjs},
    {Kind::smbiosCpu, smbiosCPUObjs},
    {Kind::smbiosCache, smbiosCacheObjs},
    {Kind::kovdSlot, kovdPCIeSlotObjs},
    {Kind::kovdDevice, kovdPCIeDeviceObjs},
    {Kind::kovdChassis, kovdChassisPathSlotObjs},
    {Kind::kovdCpu, kovdCPUObjs},
}};

bool takeResyncRequest()
{
    MutexLock lock(recoveryMutex);
    return std::exchange(recoveryRequested, false);
}

void emptyEngine()
{
    for (const KindOfMap& map : maps)
    {
        for (const std::string& path : map.objects.listObjectPaths())
        {
            map.objects.eraseObject(path);
        }
    }
    {
        MutexLock lock(associationPairsMutex);
        associationPairs = {};
    }
    {
        MutexLock lock(cpuCacheAssociationPairsMutex);
        cpuCacheAssociationPairs = {};
    }
    {
        MutexLock lock(CPUKOVDAssocTuplesMutex);
        CPUKOVDAssocTuples.clear();
    }
    takeResyncRequest();
    takeRequests();
}

/** Moves what was handed over since the last call into the outcome. */
void collectWrites(Occasion occasion, const std::string& subject, Outcome& outcome)
{
    for (AssociationRequest& request : takeRequests())
    {
        outcome.lists[request.objectPath] = request.associations;
        outcome.writes.push_back(
            {occasion, subject, std::move(request.objectPath), std::move(request.associations)});
    }
}

/** In a pass the list names the slot or processor whose turn it was: the last one it was given. */
std::string turnOf(const AssociationList& list)
{
    const auto last = std::find_if(list.rbegin(), list.rend(),
                                   [](const AssociationTuple& tuple)
                                   { return std::get<0>(tuple) == names::chassisAssociation; });
    return last == list.rend() ? "" : std::get<2>(*last);
}

void collectPass(Occasion occasion, Outcome& outcome)
{
    const std::size_t first = outcome.writes.size();
    collectWrites(occasion, "", outcome);
    for (std::size_t index = first; index < outcome.writes.size(); ++index)
    {
        outcome.writes[index].subject = turnOf(outcome.writes[index].list);
    }
}

/** An insert that failed; which property spoilt it is found out afterwards. */
struct FailedInsert
{
    InsertRow row;
    std::string path;
    ReceivedProperties properties;
};

template <std::size_t N>
void insertAll(const sim::Objects& objects, const std::array<InsertRow, N>& rows, Occasion occasion,
               Outcome& outcome, std::vector<FailedInsert>& failed)
{
    for (const auto& [objectPath, interfaces] : objects)
    {
        const std::string& path = objectPath;
        const auto insert =
            [&](const InsertRow& row, const std::string&, const ReceivedProperties& properties)
        {
            row.operation(path, properties);
            if (takeResyncRequest())
            {
                failed.push_back({row, path, properties});
            }
        };
        {
            MutexLock piece(pieceMutex);
            visitRows(rows, path, toInterfaceMap(interfaces), insert);
        }
        collectWrites(occasion, path, outcome);
    }
}

void copyOut(Outcome& outcome)
{
    for (const KindOfMap& map : maps)
    {
        auto& objects = outcome.objects[static_cast<std::size_t>(map.kind)];
        for (const SharedObject& object : *map.objects.snapshot())
        {
            objects.emplace(object->path, object->properties);
        }
    }
    for (const Kind kind : {Kind::smbiosSlot, Kind::smbiosCpu})
    {
        for (const auto& [path, properties] : outcome.of(kind))
        {
            if (auto partner = findAssociatedKOVDPath(path))
            {
                outcome.pairs.emplace(path, std::move(*partner));
            }
        }
    }
    MutexLock lock(cpuCacheAssociationPairsMutex);
    for (const auto& [path, properties] : outcome.of(Kind::smbiosCpu))
    {
        outcome.caches.emplace(path, cpuCacheAssociationPairs.cachesOfCPU(path));
    }
}

/** Whether the insert takes this one property, given alone to an empty engine. */
bool takes(const FailedInsert& insert, const std::string& name, const PropertyValue& value)
{
    emptyEngine();
    {
        MutexLock piece(pieceMutex);
        insert.row.operation(insert.path, {{name, value}});
    }
    return !takeResyncRequest();
}

/** The type that the insert wants of a property: the one that it takes, found by trying. */
std::string wantedType(const FailedInsert& insert, const std::string& name)
{
    const PropertyValue samples[] = {std::string("x"), std::uint16_t{1}, std::uint8_t{1}};
    const auto taken = std::ranges::find_if(samples, [&](const auto& value)
                                            { return takes(insert, name, value); });
    return taken == std::end(samples) ? "" : typeOf(*taken);
}

/** The properties at fault; the engine itself says which. */
void explainFailed(const World& world, const FailedInsert& insert, Outcome& outcome)
{
    const auto* interfaces = findPlatformObject(world, insert.path);
    const auto smbios = world.smbios.find(insert.path);
    if (interfaces == nullptr && smbios != world.smbios.end())
    {
        interfaces = &smbios->second;
    }
    for (const auto& [name, value] : insert.properties)
    {
        if (takes(insert, name, value))
        {
            continue;
        }
        const std::string interface(insert.row.interface);
        const std::string type =
            interfaces == nullptr ? typeOf(value) : interfaces->at(interface).at(name).type;
        outcome.refusals.push_back({insert.path, interface, name, type, wantedType(insert, name)});
    }
}

} // namespace

const char* nameOf(Kind kind)
{
    constexpr std::array<const char*, kindCount> kindNames{
        "SMBIOS slot",     "SMBIOS processor",      "SMBIOS cache",      "platform slot",
        "platform device", "platform chassis item", "platform processor"};
    return kindNames[static_cast<std::size_t>(kind)];
}

std::optional<Kind> Outcome::kindOf(const std::string& path) const
{
    for (int kind = 0; kind < kindCount; ++kind)
    {
        if (objects[kind].contains(path))
        {
            return static_cast<Kind>(kind);
        }
    }
    return std::nullopt;
}

const std::string* Outcome::smbiosPartner(const std::string& path) const
{
    const auto at =
        std::ranges::find_if(pairs, [&](const auto& pair) { return pair.second == path; });
    return at == pairs.end() ? nullptr : &at->first;
}

const Write* Outcome::lastWrite(const std::string& path) const
{
    const auto at = std::find_if(writes.rbegin(), writes.rend(),
                                 [&](const Write& write) { return write.path == path; });
    return at == writes.rend() ? nullptr : &*at;
}

Outcome runEngine(const World& world)
{
    emptyEngine();
    Outcome outcome;
    std::vector<FailedInsert> failed;
    insertAll(world.smbios, smbiosRows, Occasion::smbiosObject, outcome, failed);
    insertAll(world.board, kovdBoardRows, Occasion::platformObject, outcome, failed);
    insertAll(world.chassis, kovdChassisRows, Occasion::platformObject, outcome, failed);
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    collectPass(Occasion::slotPass, outcome);
    CPUAssociation();
    collectPass(Occasion::cpuPass, outcome);
    copyOut(outcome);
    for (const FailedInsert& insert : failed)
    {
        explainFailed(world, insert, outcome);
    }
    emptyEngine();
    return outcome;
}

} // namespace inspect
