// The verb "list": each platform object with its partner and state.

#include "inspect/words.hpp"
#include "program/program.hpp"
#include "table.hpp"
#include "verbs.hpp"

#include <algorithm>
#include <iostream>

namespace hwinvctl
{
namespace
{

using inspect::counted;
using inspect::Entry;
using inspect::Machine;
using inspect::partnerText;
using inspect::State;
using inspect::tuplesOf;

bool isWanted(const Entry& entry, const ListOptions& options)
{
    const bool any = options.unpaired || options.stale || options.drifted;
    return !any || (options.unpaired && entry.state == State::unpaired) ||
           (options.stale && entry.state == State::stale) ||
           (options.drifted && entry.state == State::drifted);
}

std::string summary(const Machine& machine)
{
    const auto count = [&](State state)
    { return static_cast<std::size_t>(std::ranges::count(machine.entries, state, &Entry::state)); };
    std::string text = counted(machine.entries.size(), "platform object") + ": " +
                       std::to_string(count(State::paired)) + " paired, " +
                       std::to_string(count(State::unpaired)) + " unpaired";
    for (const State state : {State::stale, State::drifted})
    {
        if (count(state) != 0)
        {
            text += ", " + std::to_string(count(state)) + " " + nameOf(state);
        }
    }
    text += "; " + counted(machine.untaken.size(), "SMBIOS object") +
            (machine.untaken.size() == 1 ? " is" : " are") + " taken by nobody.";
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
        rows.push_back(
            {inspect::shortPath(entry.path), nameOf(entry.state), partnerText(entry.actual, "-")});
        if (differs)
        {
            rows.back().push_back(partnerText(entry.expected, "-"));
        }
    }
    std::cout << formatTable(headings, rows, outputColumns());
}

void printUntaken(const Machine& machine)
{
    std::vector<Cells> rows;
    for (const auto& [path, kind] : machine.untaken)
    {
        rows.push_back({inspect::shortPath(path), nameOf(kind)});
    }
    if (!rows.empty())
    {
        std::cout << "\nTaken by nobody:\n"
                  << formatTable({"SMBIOS OBJECT", "KIND"}, rows, outputColumns());
    }
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
                                       {"associations", tuplesOf(entry.actual)},
                                       {"rules", tuplesOf(entry.expected)}});
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
