#include "rig/observer.hpp"

#include "sim/client.hpp"
#include "sim/names.hpp"
#include "sim/value_message.hpp"

#include <algorithm>

namespace rig
{
namespace
{

using Clock = std::chrono::steady_clock;

constexpr const char* busName = "org.freedesktop.DBus";
constexpr std::uint64_t callLimit = 30'000'000; // microseconds

std::uint64_t microsecondsUntil(Clock::time_point deadline)
{
    const auto left = std::chrono::ceil<std::chrono::microseconds>(deadline - Clock::now());
    return static_cast<std::uint64_t>(std::max<std::chrono::microseconds::rep>(left.count(), 0));
}

} // namespace

Observer::Observer(const std::string& address) : bus_(sim::connectTo(address))
{
    sim::check(sd_bus_set_method_call_timeout(bus_.get(), callLimit), "bound the calls");
    // So that waitForOwner() is woken; what the signals say is looked up by it.
    sim::check(sd_bus_match_signal(bus_.get(), nullptr, busName, nullptr, busName,
                                   "NameOwnerChanged", nullptr, nullptr),
               "watch the names");
}

std::string Observer::ownerOf(const std::string& name)
{
    return sim::ownerOf(bus_.get(), name);
}

bool Observer::waitForOwner(const std::string& name, std::chrono::milliseconds limit,
                            const std::string& formerOwner)
{
    const auto deadline = Clock::now() + limit;
    while (true)
    {
        const std::string owner = ownerOf(name);
        if (!owner.empty() && owner != formerOwner)
        {
            return true;
        }
        while (sim::check(sd_bus_process(bus_.get(), nullptr), "talk to the bus") > 0)
        {
        }
        if (Clock::now() >= deadline)
        {
            return false;
        }
        sim::check(sd_bus_wait(bus_.get(), microsecondsUntil(deadline)), "wait for the bus");
    }
}

void Observer::ping(const std::string& name)
{
    sim::call(bus_.get(), {name, "/", sim::names::peer, "Ping"});
}

sim::Objects Observer::managedObjects(const std::string& service, const std::string& path)
{
    return sim::managedObjects(bus_.get(), service, path);
}

sim::Associations Observer::associationsOf(const std::string& path)
{
    const sim::Message reply =
        sim::call(bus_.get(), {sim::names::kovdService, path, sim::names::properties, "Get"},
                  {sim::names::associationDefinitions, sim::names::associations});
    return sim::toAssociations(sim::readVariant(reply.get()));
}

std::map<std::string, sim::Associations> Observer::allAssociations()
{
    sim::Objects objects = managedObjects(sim::names::kovdService, sim::names::boardRoot);
    objects.merge(managedObjects(sim::names::kovdService, sim::names::chassisRoot));
    std::map<std::string, sim::Associations> found;
    for (const auto& [path, interfaces] : objects)
    {
        const sim::Value* list = sim::findProperty(
            objects, path, sim::names::associationDefinitions, sim::names::associations);
        if (list != nullptr && !list->data.empty())
        {
            found.emplace(path, sim::toAssociations(*list));
        }
    }
    return found;
}

} // namespace rig
