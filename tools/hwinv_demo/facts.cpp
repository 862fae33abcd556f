#include "facts.hpp"

#include "inspect/explain.hpp"
#include "inspect/words.hpp"
#include "sim/sdbus.hpp"

#include <utility>

namespace hwinv_demo
{
namespace
{

sim::Associations toTuples(const AssociationList& list)
{
    sim::Associations tuples;
    for (const auto& [forward, reverse, endpoint] : list)
    {
        tuples.push_back({forward, reverse, endpoint});
    }
    return tuples;
}

} // namespace

Facts readFacts(const std::string& address)
{
    return factsOf(inspect::readBus(sim::connectTo(address).get()));
}

Facts factsOf(inspect::World world)
{
    Facts facts;
    facts.machine = inspect::examine(std::move(world));
    const inspect::World& seen = facts.machine.world;
    facts.smbios = seen.smbios;
    facts.kovd = seen.board;
    facts.kovd.insert(seen.chassis.begin(), seen.chassis.end());
    for (const auto& [path, interfaces] : facts.kovd)
    {
        if (const AssociationList list = inspect::associationsOf(interfaces); !list.empty())
        {
            facts.associations.emplace(path, toTuples(list));
        }
    }
    return facts;
}

std::string reasonFor(const Facts& facts, const std::string& path)
{
    const inspect::Entry* entry = facts.machine.find(path);
    if (entry != nullptr && entry->actual != entry->expected)
    {
        return "by the rules it belongs to " + inspect::partnerText(entry->expected, "nothing");
    }
    return inspect::explain(facts.machine, path).reason;
}

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

} // namespace hwinv_demo
