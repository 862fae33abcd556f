#include "report.hpp"

#include "inspect/words.hpp"
#include "sim/names.hpp"
#include "table.hpp"
#include "unpaired.hpp"

#include <algorithm>
#include <map>
#include <set>
#include <utility>
#include <vector>

namespace hwinv_demo
{
namespace
{

namespace names = sim::names;

using Paths = std::vector<std::string>;

std::string describeSlot(const Facts& facts, const std::string& path)
{
    return inspect::leafOf(path) + "  \"" +
           text(facts.smbios, path, names::smbiosSlot, "SlotDesignation") + "\", id " +
           text(facts.smbios, path, names::smbiosSlot, "SlotID");
}

/** "slot2" before "slot10": paths of one kind differ in their number alone. */
struct ByNumber
{
    bool operator()(const std::string& left, const std::string& right) const
    {
        return std::pair(left.size(), left) < std::pair(right.size(), right);
    }
};

/** Slot to the platform objects that name it, in path order. */
std::map<std::string, Paths, ByNumber> objectsBySlot(const Facts& facts)
{
    std::map<std::string, Paths, ByNumber> bySlot;
    for (const auto& [path, list] : facts.associations)
    {
        if (list.size() == 1 && list.front()[1] == "pcieslot")
        {
            bySlot[list.front()[2]].push_back(path);
        }
    }
    return bySlot;
}

void printSlots(std::ostream& out, const Facts& facts, std::size_t columns)
{
    std::vector<std::vector<std::string>> lines{
        {"SMBIOS slot", "platform object", "why they match"}};
    for (const auto& [slot, objects] : objectsBySlot(facts))
    {
        std::string label = describeSlot(facts, slot);
        for (const std::string& path : objects)
        {
            lines.push_back({label, inspect::shortPath(path), reasonFor(facts, path)});
            label.clear(); // said once
        }
    }
    out << "\nPCIe slots\n\n";
    printTable(out, lines, columns);
}

/** The SMBIOS processor or cache at the end of an association, and what names it. */
std::string describeEndpoint(const Facts& facts, const std::string& endpoint)
{
    const std::string socket = text(facts.smbios, endpoint, names::smbiosCpu, "Socket");
    return inspect::leafOf(endpoint) +
           (socket.empty()
                ? ", handle " + text(facts.smbios, endpoint, names::smbiosCache, "Handle")
                : ", socket " + socket);
}

/** The processors that have a list or should have one. */
std::set<std::string> processors(const Facts& facts, const Expectation& expected)
{
    std::set<std::string> paths;
    for (const auto& [path, ignored] : expected.processors)
    {
        paths.insert(path);
    }
    for (const auto& [path, list] : facts.associations)
    {
        if (std::ranges::any_of(list, [](const auto& tuple) { return tuple[1] == "processor"; }))
        {
            paths.insert(path);
        }
    }
    return paths;
}

void printProcessors(std::ostream& out, const Facts& facts, const std::set<std::string>& paths,
                     std::size_t columns)
{
    std::vector<std::vector<std::string>> lines{
        {"platform processor", "association", "SMBIOS object"}};
    for (const std::string& path : paths)
    {
        std::string label =
            inspect::shortPath(path) + "  " + text(facts.kovd, path, names::item, "TargetDevKey");
        const auto found = facts.associations.find(path);
        if (found == facts.associations.end())
        {
            lines.push_back({label, "nothing", ""});
            continue;
        }
        for (const auto& [forward, reverse, endpoint] : found->second)
        {
            lines.push_back({label, forward + " / " + reverse, describeEndpoint(facts, endpoint)});
            label.clear();
        }
    }
    out << "\nProcessors\n\n";
    printTable(out, lines, columns);
}

/** What has no partner on the bus, and why not. */
void printUnpaired(std::ostream& out, const Facts& facts, const char* title, Paths paths,
                   std::size_t columns)
{
    if (paths.empty())
    {
        return;
    }
    std::ranges::sort(paths, ByNumber());
    std::vector<std::vector<std::string>> lines{{"object", "why not"}};
    for (const std::string& path : paths)
    {
        lines.push_back({inspect::shortPath(path), reasonFor(facts, path)});
    }
    out << "\n" << title << "\n\n";
    printTable(out, lines, columns);
}

} // namespace

void printReport(std::ostream& out, const Facts& facts, const Expectation& expected,
                 std::size_t columns)
{
    printSlots(out, facts, columns);
    const auto paths = processors(facts, expected);
    if (!paths.empty())
    {
        printProcessors(out, facts, paths, columns);
    }
    printUnpaired(out, facts, "Unpaired on the platform",
                  unpairedPlatform(facts.kovd, facts.associations), columns);
    printUnpaired(out, facts, "Unpaired in SMBIOS",
                  unpairedSmbios(facts.smbios, facts.associations), columns);
    out << std::flush;
}

std::string shortList(const sim::Associations& list)
{
    std::string line;
    for (const auto& [forward, reverse, endpoint] : list)
    {
        line += (line.empty() ? "" : ", ") + reverse + " " + inspect::leafOf(endpoint);
    }
    return line.empty() ? "nothing" : line;
}

} // namespace hwinv_demo
