#include "report.hpp"

#include "sim/names.hpp"
#include "unpaired.hpp"

#include <algorithm>
#include <iomanip>
#include <map>
#include <utility>
#include <vector>

namespace hwinv_demo
{
namespace
{

namespace names = sim::names;

constexpr int columnGap = 2;

using Paths = std::vector<std::string>;

/** The property as text; empty when the object has none. */
std::string text(const sim::Objects& objects, const std::string& path, const char* interface,
                 const char* property)
{
    const sim::Value* value = sim::findProperty(objects, path, interface, property);
    if (value == nullptr)
    {
        return "";
    }
    return value->data.is_string() ? value->data.get<std::string>() : value->data.dump();
}

std::string leaf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

std::string describeSlot(const Facts& facts, const std::string& path)
{
    return leaf(path) + "  \"" + text(facts.smbios, path, names::smbiosSlot, "SlotDesignation") +
           "\", id " + text(facts.smbios, path, names::smbiosSlot, "SlotID");
}

/** The platform slot of that SMBIOS slot whose path stands in the device's; empty when none. */
std::string slotAround(const Facts& facts, const std::string& device, const std::string& smbiosSlot)
{
    for (const auto& [path, list] : facts.associations)
    {
        const bool isSlot = facts.kovd.at(path).contains(names::kovdSlot);
        const bool contained = path != device && device.find(path) != std::string::npos;
        if (isSlot && contained && list.front()[2] == smbiosSlot)
        {
            return path;
        }
    }
    return "";
}

std::string deviceReason(const Facts& facts, const std::string& path, const std::string& smbiosSlot)
{
    const std::string slot = slotAround(facts, path, smbiosSlot);
    const std::string fqdd = "FQDD " + text(facts.kovd, path, names::kovdDevice, "FQDD");
    if (slot.empty())
    {
        return fqdd;
    }
    return sim::isBelow(path, slot) ? "device in " + leaf(slot) + ", " + fqdd
                                    : "its path contains " + leaf(slot);
}

/** Why a platform object stands for its slot: what the daemon compared, as the bus shows it. */
std::string reason(const Facts& facts, const std::string& path, const std::string& smbiosSlot)
{
    const auto& interfaces = facts.kovd.at(path);
    if (interfaces.contains(names::kovdSlot))
    {
        return "FQDD " + text(facts.kovd, path, names::kovdSlot, "PCIeFQDD") + ", slot id " +
               text(facts.kovd, path, names::kovdSlot, "PCIeLocatorInstanceNum");
    }
    return interfaces.contains(names::kovdDevice) ? deviceReason(facts, path, smbiosSlot)
                                                  : "same name as its slot on the board";
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

/** Lines of cells; each column is as wide as its widest cell, the last one ends the line. */
void printTable(std::ostream& out, const std::vector<std::vector<std::string>>& lines)
{
    std::vector<std::size_t> widths;
    for (const auto& cells : lines)
    {
        widths.resize(std::max(widths.size(), cells.size()));
        for (std::size_t column = 0; column < cells.size(); ++column)
        {
            widths[column] = std::max(widths[column], cells[column].size());
        }
    }
    for (const auto& cells : lines)
    {
        out << "  ";
        for (std::size_t column = 0; column + 1 < cells.size(); ++column)
        {
            out << std::left << std::setw(static_cast<int>(widths[column]) + columnGap)
                << cells[column];
        }
        out << cells.back() << '\n';
    }
}

void printSlots(std::ostream& out, const Facts& facts)
{
    std::vector<std::vector<std::string>> lines{
        {"SMBIOS slot", "platform object", "why they match"}};
    for (const auto& [slot, objects] : objectsBySlot(facts))
    {
        std::string label = describeSlot(facts, slot);
        for (const std::string& path : objects)
        {
            lines.push_back({label, shortPath(path), reason(facts, path, slot)});
            label.clear(); // said once
        }
    }
    out << "\nPCIe slots\n\n";
    printTable(out, lines);
}

/** The SMBIOS processor or cache at the end of an association, and what names it. */
std::string describeEndpoint(const Facts& facts, const std::string& endpoint)
{
    const std::string socket = text(facts.smbios, endpoint, names::smbiosCpu, "Socket");
    return leaf(endpoint) + (socket.empty() ? ", handle " + text(facts.smbios, endpoint,
                                                                 names::smbiosCache, "Handle")
                                            : ", socket " + socket);
}

void printProcessors(std::ostream& out, const Facts& facts, const Expectation& expected)
{
    std::vector<std::vector<std::string>> lines{
        {"platform processor", "association", "SMBIOS object"}};
    for (const auto& [path, ignored] : expected.processors)
    {
        std::string label =
            shortPath(path) + "  " + text(facts.kovd, path, names::item, "TargetDevKey");
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
    printTable(out, lines);
}

/** What has no partner on the bus, and the inventory's reason where it has one. */
void printUnpaired(std::ostream& out, const char* title, Paths paths, const Reasons& reasons)
{
    if (paths.empty())
    {
        return;
    }
    std::ranges::sort(paths, ByNumber());
    std::vector<std::vector<std::string>> lines;
    for (const std::string& path : paths)
    {
        const auto reason = reasons.find(path);
        lines.push_back({shortPath(path), reason == reasons.end() ? "" : reason->second});
    }
    out << "\n" << title << "\n\n";
    printTable(out, lines);
}

sim::Objects managedObjects(rig::Observer& observer, const char* service, const char* path)
{
    return observer.ownerOf(service).empty() ? sim::Objects{}
                                             : observer.managedObjects(service, path);
}

} // namespace

Facts readFacts(rig::Observer& observer)
{
    Facts facts;
    facts.smbios = managedObjects(observer, names::smbiosService, names::smbiosRoot);
    facts.kovd = managedObjects(observer, names::kovdService, names::boardRoot);
    facts.kovd.merge(managedObjects(observer, names::kovdService, names::chassisRoot));
    if (!observer.ownerOf(names::kovdService).empty())
    {
        facts.associations = observer.allAssociations();
    }
    return facts;
}

void printReport(std::ostream& out, const Facts& facts, const Expectation& expected)
{
    printSlots(out, facts);
    if (!expected.processors.empty())
    {
        printProcessors(out, facts, expected);
    }
    printUnpaired(out, "Unpaired on the platform", unpairedPlatform(facts.kovd, facts.associations),
                  expected.unpairedPlatform);
    printUnpaired(out, "Unpaired in SMBIOS", unpairedSmbios(facts.smbios, facts.associations),
                  expected.unpairedSmbios);
    out << std::flush;
}

std::string shortPath(const std::string& path)
{
    const std::string shared = std::string(names::smbiosRoot) + "/system/";
    return path.starts_with(shared) ? path.substr(shared.size()) : path;
}

std::string shortList(const sim::Associations& list)
{
    std::string line;
    for (const auto& [forward, reverse, endpoint] : list)
    {
        line += (line.empty() ? "" : ", ") + reverse + " " + leaf(endpoint);
    }
    return line.empty() ? "nothing" : line;
}

} // namespace hwinv_demo
