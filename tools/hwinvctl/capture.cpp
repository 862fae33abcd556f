// The verbs that deal with captures: "capture" and "diff".

#include "sim/capture.hpp"

#include "inspect/changes.hpp"
#include "inspect/redact.hpp"
#include "inspect/words.hpp"
#include "program/program.hpp"
#include "table.hpp"
#include "verbs.hpp"

#include <iostream>

namespace hwinvctl
{
namespace
{

using inspect::Change;
using inspect::counted;
using inspect::Difference;

std::string partnerText(const std::string& path)
{
    return path.empty() ? "nothing" : inspect::leafOf(path);
}

std::string joined(const std::vector<std::string>& texts)
{
    std::string text;
    for (const std::string& one : texts)
    {
        text += (text.empty() ? "" : ", ") + one;
    }
    return text;
}

void print(const Difference& difference)
{
    printText(counted(difference.changes.size(), "object") + " and " +
              counted(difference.pairings.size(), "pairing") + " differ.");
    std::vector<Cells> rows;
    for (const Change& change : difference.changes)
    {
        rows.push_back(
            {inspect::shortPath(change.path), nameOf(change.kind), joined(change.properties)});
    }
    const std::string objects =
        formatTable({"OBJECT", "CHANGE", "PROPERTIES"}, rows, outputColumns());
    rows.clear();
    for (const inspect::Repairing& pairing : difference.pairings)
    {
        rows.push_back({inspect::shortPath(pairing.path), partnerText(pairing.before),
                        partnerText(pairing.after)});
    }
    const std::string pairings = formatTable({"OBJECT", "BEFORE", "AFTER"}, rows, outputColumns());
    std::cout << (objects.empty() ? "" : "\n" + objects)
              << (pairings.empty() ? "" : "\nPartner:\n" + pairings);
}

sim::Json toJson(const Difference& difference)
{
    sim::Json json{{"objects", sim::Json::array()}, {"pairings", sim::Json::array()}};
    for (const Change& change : difference.changes)
    {
        json["objects"].push_back({{"path", change.path},
                                   {"change", nameOf(change.kind)},
                                   {"properties", change.properties}});
    }
    for (const inspect::Repairing& pairing : difference.pairings)
    {
        json["pairings"].push_back(
            {{"path", pairing.path}, {"before", pairing.before}, {"after", pairing.after}});
    }
    return json;
}

inspect::Machine readCapture(const std::string& folder)
{
    Common common;
    common.from = folder;
    return inspect::examine(readWorld(common));
}

} // namespace

int capture(const Common& common, const CaptureOptions& options)
{
    inspect::World world = readWorld(common);
    const std::size_t redacted = options.redact ? inspect::redact(world) : 0;
    sim::writeReplies(options.folder, {world.smbios, world.board, world.chassis});
    std::string text = options.folder + " holds " + counted(world.smbios.size(), "SMBIOS object") +
                       " and " +
                       counted(world.board.size() + world.chassis.size(), "platform object");
    if (options.redact)
    {
        text += "; " + counted(redacted, "value") + " that would identify the machine replaced";
    }
    printText(text + ".");
    return program::done;
}

int diff(const Common& common, const std::string& before, const std::string& after)
{
    const Difference difference = inspect::differenceOf(readCapture(before), readCapture(after));
    if (wantsJson(common))
    {
        printJson(common, toJson(difference));
    }
    else
    {
        print(difference);
    }
    const bool same = difference.changes.empty() && difference.pairings.empty();
    return same ? program::done : program::failed;
}

} // namespace hwinvctl
