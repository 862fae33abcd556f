#include "inspect/machine.hpp"

#include "base/names.hpp"

#include <algorithm>
#include <set>
#include <utility>

namespace inspect
{
namespace
{

using Lists = std::map<std::string, AssociationList>;

Lists listsOnObjects(const World& world)
{
    Lists lists;
    for (const sim::Objects* objects : {&world.board, &world.chassis})
    {
        for (const auto& [path, interfaces] : *objects)
        {
            if (AssociationList list = associationsOf(interfaces); !list.empty())
            {
                lists.emplace(path, std::move(list));
            }
        }
    }
    return lists;
}

AssociationList listOf(const Lists& lists, const std::string& path)
{
    const auto at = lists.find(path);
    return at == lists.end() ? AssociationList() : at->second;
}

bool leadsNowhere(const World& world, const AssociationList& list)
{
    return std::ranges::any_of(list, [&](const AssociationTuple& tuple)
                               { return !world.smbios.contains(std::get<2>(tuple)); });
}

State stateOf(const World& world, const Entry& entry)
{
    if (leadsNowhere(world, entry.actual))
    {
        return State::stale;
    }
    if (entry.actual != entry.expected)
    {
        return State::drifted;
    }
    return entry.actual.empty() ? State::unpaired : State::paired;
}

std::set<std::string> pathsOfInterest(const Outcome& outcome, const Lists& actual)
{
    std::set<std::string> paths;
    for (const Kind kind : {Kind::kovdSlot, Kind::kovdDevice, Kind::kovdChassis, Kind::kovdCpu})
    {
        for (const auto& [path, properties] : outcome.of(kind))
        {
            paths.insert(path);
        }
    }
    for (const auto& [path, list] : actual)
    {
        paths.insert(path);
    }
    return paths;
}

void findUntaken(Machine& machine)
{
    std::set<std::string> taken;
    for (const Entry& entry : machine.entries)
    {
        for (const auto& [forward, reverse, endpoint] : entry.actual)
        {
            taken.insert(endpoint);
        }
    }
    for (const Kind kind : {Kind::smbiosSlot, Kind::smbiosCpu, Kind::smbiosCache})
    {
        for (const auto& [path, properties] : machine.outcome.of(kind))
        {
            if (!taken.contains(path))
            {
                machine.untaken.push_back({path, kind});
            }
        }
    }
}

} // namespace

const char* nameOf(State state)
{
    switch (state)
    {
        case State::paired:
            return "paired";
        case State::unpaired:
            return "unpaired";
        case State::stale:
            return "stale";
        case State::drifted:
            return "drifted";
    }
    return "";
}

const Entry* Machine::find(const std::string& path) const
{
    const auto at = std::ranges::find(entries, path, &Entry::path);
    return at == entries.end() ? nullptr : &*at;
}

Machine examine(World world)
{
    Machine machine;
    machine.world = std::move(world);
    machine.outcome = runEngine(machine.world);
    const Lists actual = listsOnObjects(machine.world);
    machine.written = machine.world.live || !actual.empty();
    for (const std::string& path : pathsOfInterest(machine.outcome, actual))
    {
        Entry entry;
        entry.path = path;
        entry.kind = machine.outcome.kindOf(path);
        entry.expected = listOf(machine.outcome.lists, path);
        entry.actual = machine.written ? listOf(actual, path) : entry.expected;
        entry.state = stateOf(machine.world, entry);
        machine.entries.push_back(std::move(entry));
    }
    findUntaken(machine);
    return machine;
}

std::string partnerOf(const AssociationList& list)
{
    const auto own =
        std::ranges::find_if(list, [](const AssociationTuple& tuple)
                             { return std::get<0>(tuple) == names::chassisAssociation; });
    if (own != list.end())
    {
        return std::get<2>(*own);
    }
    return list.empty() ? "" : std::get<2>(list.front());
}

std::size_t cachesIn(const AssociationList& list)
{
    return static_cast<std::size_t>(
        std::ranges::count_if(list, [](const AssociationTuple& tuple)
                              { return std::get<0>(tuple) == names::processorAssociation; }));
}

} // namespace inspect
