#include "inspect/health.hpp"

#include "base/names.hpp"
#include "inspect/words.hpp"
#include "sim/client.hpp"
#include "sim/error.hpp"
#include "sim/names.hpp"
#include "sim/value_message.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace inspect
{
namespace
{

constexpr const char* mapper = "xyz.openbmc_project.ObjectMapper";
constexpr const char* mapperInterface = "xyz.openbmc_project.Association";

using Symptoms = std::vector<Symptom>;

sim::Value ask(sd_bus* bus, const sim::Method& method,
               const std::vector<std::string>& arguments = {})
{
    return sim::readValue(sim::call(bus, method, arguments).get());
}

void checkOwner(sd_bus* bus, std::string_view name, const std::string& what, Symptoms& symptoms)
{
    const std::string owner = sim::ownerOf(bus, std::string(name));
    const std::string known = what + " " + std::string(name);
    symptoms.push_back({"name-owner", !owner.empty(),
                        owner.empty() ? known + " is not on the bus."
                                      : known + " is on the bus as " + owner + "."});
}

void checkReplies(const std::vector<Reply>& replies, Symptoms& symptoms)
{
    constexpr std::chrono::seconds slow{2};
    for (const Reply& reply : replies)
    {
        const auto tenths = reply.time.count() / 100;
        symptoms.push_back({"reply-time", reply.time < slow,
                            reply.service + " lists " + std::to_string(reply.objects) +
                                " objects below " + reply.path + " in " +
                                std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) +
                                " ms."});
    }
}

/** What the object's own introspection says of the property; nothing when it has none. */
std::optional<bool> isWritable(sd_bus* bus, const std::string& path)
{
    const std::string xml =
        ask(bus, {sim::names::kovdService, path, sim::names::introspectable, "Introspect"})
            .data.get<std::string>();
    const std::size_t at = xml.find("name=\"Associations\"");
    if (at == std::string::npos)
    {
        return std::nullopt;
    }
    const std::size_t start = xml.rfind('<', at);
    return xml.substr(start, xml.find('>', at) - start).find("readwrite") != std::string::npos;
}

void checkWritable(sd_bus* bus, const Machine& machine, Symptoms& symptoms)
{
    std::size_t writable = 0;
    std::size_t locked = 0;
    std::string first;
    for (const Entry& entry : machine.entries)
    {
        if (entry.expected.empty())
        {
            continue;
        }
        const bool good = isWritable(bus, entry.path).value_or(false);
        (good ? writable : locked) += 1;
        first = !good && first.empty() ? entry.path : first;
    }
    symptoms.push_back({"writable", locked == 0,
                        locked == 0
                            ? "Associations can be written on all " + std::to_string(writable) +
                                  " objects that have a partner."
                            : "Associations cannot be written on " + std::to_string(locked) +
                                  " objects, the first of which is " + first + "."});
    const bool any = std::ranges::any_of(machine.entries,
                                         [](const Entry& entry) { return !entry.actual.empty(); });
    const bool wanted = !machine.outcome.lists.empty();
    symptoms.push_back({"policy", any || !wanted,
                        any ? "The bus lets the daemon write: its associations are there."
                            : (wanted ? "No association is there: does the daemon run, and does "
                                        "the bus policy let it write?"
                                      : "There is nothing to write.")});
}

void checkAgreement(const Machine& machine, Symptoms& symptoms)
{
    std::size_t differing = 0;
    std::string first;
    for (const Entry& entry : machine.entries)
    {
        if (entry.actual != entry.expected)
        {
            ++differing;
            first = first.empty() ? entry.path : first;
        }
    }
    symptoms.push_back(
        {"agreement", differing == 0,
         differing == 0 ? "What stands on all " + std::to_string(machine.entries.size()) +
                              " objects is what the rules give."
                        : "What stands on " + std::to_string(differing) +
                              " objects is not what the rules give; the first is " + first + "."});
}

/** The endpoints that the mapper shows at a path; none when it shows no such path. */
std::vector<std::string> endpointsAt(sd_bus* bus, const std::string& path)
try
{
    const sim::Value value =
        ask(bus, {mapper, path, sim::names::properties, "Get"}, {mapperInterface, "endpoints"});
    return value.data.at("data").get<std::vector<std::string>>();
}
catch (const sim::BusError&)
{
    return {};
}

bool shows(sd_bus* bus, const std::string& path, const std::string& endpoint)
{
    const auto endpoints = endpointsAt(bus, path);
    return std::ranges::find(endpoints, endpoint) != endpoints.end();
}

/** Where the mapper ought to show an endpoint. */
struct End
{
    std::string path;
    std::string endpoint;
};

/** Both ends of every association that stands on an object. */
std::vector<std::array<End, 2>> endsOf(const Machine& machine)
{
    std::vector<std::array<End, 2>> ends;
    for (const Entry& entry : machine.entries)
    {
        for (const auto& [forward, reverse, endpoint] : entry.actual)
        {
            ends.push_back({End{entry.path + "/" + forward, endpoint},
                            End{endpoint + "/" + reverse, entry.path}});
        }
    }
    return ends;
}

void checkPairsShown(sd_bus* bus, const Machine& machine, Symptoms& symptoms)
{
    const auto pairs = endsOf(machine);
    std::size_t shown = 0;
    for (const auto& pair : pairs)
    {
        bool both = true;
        for (const End& end : pair)
        {
            if (!shows(bus, end.path, end.endpoint))
            {
                both = false;
                symptoms.push_back(
                    {"mapper", false,
                     "The mapper does not show " + end.endpoint + " at " + end.path + "."});
            }
        }
        shown += both ? 1 : 0;
    }
    const bool all = shown == pairs.size();
    symptoms.push_back({"mapper", all,
                        "The mapper shows " + (all ? "all " : std::to_string(shown) + " of ") +
                            counted(pairs.size(), "association") + " in both directions."});
}

/** The page that shows a slot follows its `chassis` association, and takes no more than one end. */
void checkSlotPages(sd_bus* bus, const Machine& machine, Symptoms& symptoms)
{
    for (const Entry& entry : machine.entries)
    {
        const std::string path = entry.path + "/" + std::string(names::chassisAssociation);
        const bool isSlot = entry.kind == Kind::kovdSlot || entry.kind == Kind::kovdChassis;
        const std::size_t number = isSlot ? endpointsAt(bus, path).size() : 0;
        if (number > 1)
        {
            symptoms.push_back({"mapper-many", false,
                                entry.path + " has " + std::to_string(number) +
                                    " chassis endpoints: the Redfish page of the slot fails."});
        }
    }
}

void checkMapper(sd_bus* bus, const Machine& machine, Symptoms& symptoms)
{
    if (!hasOwner(bus, mapper))
    {
        symptoms.push_back({"mapper", true, "No association mapper is on the bus."});
        return;
    }
    checkPairsShown(bus, machine, symptoms);
    checkSlotPages(bus, machine, symptoms);
}

} // namespace

std::vector<Symptom> examineHealth(sd_bus* bus)
{
    Symptoms symptoms;
    checkOwner(bus, names::smbiosService, "The SMBIOS service", symptoms);
    checkOwner(bus, names::kovdService, "The platform service", symptoms);
    checkOwner(bus, names::ownService, "The daemon", symptoms);
    std::vector<Reply> replies;
    const Machine machine = examine(readBus(bus, &replies));
    checkReplies(replies, symptoms);
    checkWritable(bus, machine, symptoms);
    checkAgreement(machine, symptoms);
    checkMapper(bus, machine, symptoms);
    return symptoms;
}

} // namespace inspect
