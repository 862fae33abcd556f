// The verb "list": each platform object with its partner and state.

#include "program/program.hpp"
#include "table.hpp"
#include "verbs.hpp"

#include <algorithm>
#include <iostream>

namespace hwinvctl
{
namespace
{

using inspect::Entry;
using inspect::Machine;
using inspect::State;

bool isWanted(const Entry& entry, const ListOptions& options)
{
    const bool any = options.unpaired || options.stale || options.drifted;
    return !any || (options.unpaired && entry.state == State::unpaired) ||
           (options.stale && entry.state == State::stale) ||
           (options.drifted && entry.state == State::drifted);
}

std::string partnerText(const AssociationList& list)
{
    if (list.empty())
    {
        return "-";
    }
    const std::size_t caches = inspect::cachesIn(list);
    return inspect::leafOf(inspect::partnerOf(list)) +
           (caches == 0 ? "" : " +" + std::to_string(caches) + " caches");
}

std::string counted(std::size_t number, const std::string& what)
{
    return std::to_string(number) + " " + what;
}

std::string summary(const Machine& machine)
{
    const auto count = [&](State state)
    { return static_cast<std::size_t>(std::ranges::count(machine.entries, state, &Entry::state)); };
    std::string text = counted(machine.entries.size(), "platform objects: ") +
                       counted(count(State::paired), "paired, ") +
                       counted(count(State::unpaired), "unpaired");
    for (const State state : {State::stale, State::drifted})
    {
        if (count(state) != 0)
        {
            text += ", " + counted(count(state), nameOf(state));
        }
    }
    const bool one = machine.untaken.size() == 1;
    text += "; " +
            counted(machine.untaken.size(), one ? "SMBIOS object is" : "SMBIOS objects are") +
            " taken by nobody.";
    if (!machine.written)
    {
        text += " Nothing is written in this capture: this is what the daemon would write.";
    }
    return text;
}

void printEntries(const Machine& machine, const ListOptions& options)
{
    const bool differs = std::ranges::any_of(
        machine.entries, [](const Entry& entry)
        { return entry.state == State::stale || entry.state == State::drifted; });
    Cells headings{"OBJECT", "STATE", "PARTNER"};
    if (differs)
    {
        headings.push_back("BY THE RULES");
    }
    std::vector<Cells> rows;
    for (const Entry& entry : machine.entries)
    {
        if (!isWanted(entry, options))
        {
            continue;
        }
        rows.push_back({shortPath(entry.path), nameOf(entry.state), partnerText(entry.actual)});
        if (differs)
        {
            rows.back().push_back(partnerText(entry.expected));
        }
    }
    std::cout << formatTable(headings, rows, outputColumns());
}

void printUntaken(const Machine& machine)
{
    std::vector<Cells> rows;
    for (const auto& [path, kind] : machine.untaken)
    {
        rows.push_back({shortPath(path), nameOf(kind)});
    }
    if (!rows.empty())
    {
        std::cout << "\nTaken by nobody:\n"
                  << formatTable({"SMBIOS OBJECT", "KIND"}, rows, outputColumns());
    }
}

sim::Json tuples(const AssociationList& list)
{
    sim::Json json = sim::Json::array();
    for (const auto& [forward, reverse, endpoint] : list)
    {
        json.push_back({forward, reverse, endpoint});
    }
    return json;
}

sim::Json toJson(const Machine& machine, const ListOptions& options)
{
    sim::Json json{{"source", machine.world.source},
                   {"written", machine.written},
                   {"objects", sim::Json::array()},
                   {"untaken", sim::Json::array()}};
    for (const Entry& entry : machine.entries)
    {
        if (isWanted(entry, options))
        {
            json["objects"].push_back({{"path", entry.path},
                                       {"kind", entry.kind ? nameOf(*entry.kind) : ""},
                                       {"state", nameOf(entry.state)},
                                       {"associations", tuples(entry.actual)},
                                       {"rules", tuples(entry.expected)}});
        }
    }
    for (const auto& [path, kind] : machine.untaken)
    {
        json["untaken"].push_back({{"path", path}, {"kind", nameOf(kind)}});
    }
    return json;
}

} // namespace

int list(const Common& common, const ListOptions& options)
{
    const Machine machine = inspect::examine(readWorld(common));
    if (wantsJson(common))
    {
        printJson(common, toJson(machine, options));
        return program::done;
    }
    printText(summary(machine));
    std::cout << '\n';
    printEntries(machine, options);
    if (!options.stale && !options.drifted)
    {
        printUntaken(machine);
    }
    return program::done;
}

} // namespace hwinvctl
