#include "rig/observer.hpp"

#include "sim/capture.hpp"
#include "sim/names.hpp"
#include "sim/value_message.hpp"

#include <algorithm>
#include <cerrno>

namespace rig
{
namespace
{

using Clock = std::chrono::steady_clock;

constexpr const char* busName = "org.freedesktop.DBus";
constexpr const char* busPath = "/org/freedesktop/DBus";
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

sim::Message Observer::call(const std::string& service, const std::string& path,
                            const std::string& interface, const std::string& member,
                            const std::vector<std::string>& arguments)
{
    sd_bus_message* raw = nullptr;
    sim::check(sd_bus_message_new_method_call(bus_.get(), &raw, service.c_str(), path.c_str(),
                                              interface.c_str(), member.c_str()),
               "make a call");
    const sim::Message request(raw);
    for (const std::string& argument : arguments)
    {
        sim::check(sd_bus_message_append_basic(raw, 's', argument.c_str()), "write a call");
    }
    return sim::call(bus_.get(), raw, member + " of " + service);
}

std::string Observer::ownerOf(const std::string& name)
{
    try
    {
        const sim::Message owner = call(busName, busPath, busName, "GetNameOwner", {name});
        return sim::readValue(owner.get()).data.get<std::string>();
    }
    catch (const sim::BusError& error)
    {
        if (error.code() == ENXIO) // the bus has no owner for it
        {
            return "";
        }
        throw;
    }
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
    call(name, "/", sim::names::peer, "Ping");
}

sim::Objects Observer::managedObjects(const std::string& service, const std::string& path)
{
    const sim::Message reply = call(service, path, sim::names::objectManager, "GetManagedObjects");
    const sim::Value value = sim::readValue(reply.get());
    const sim::Json capture{{"type", value.type}, {"data", sim::Json::array({value.data})}};
    return sim::parseCapture(capture.dump(), service);
}

sim::Associations Observer::associationsOf(const std::string& path)
{
    const sim::Message reply = call(sim::names::kovdService, path, sim::names::properties, "Get",
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
