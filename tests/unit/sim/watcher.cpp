#include "watcher.hpp"

#include "sim/names.hpp"
#include "sim/value_message.hpp"

#include <algorithm>
#include <iterator>

using sim::Json;
using std::string;

namespace
{

Json readBody(sd_bus_message* message)
{
    Json body = Json::array();
    while (sim::check(sd_bus_message_at_end(message, 1), "read a body") == 0)
    {
        body.push_back(sim::readValue(message).data);
    }
    return body;
}

std::uint64_t microseconds(std::chrono::milliseconds time)
{
    return static_cast<std::uint64_t>(std::chrono::microseconds(time).count());
}

} // namespace

Watcher::Watcher(const string& address) : bus_(sim::connectTo(address))
{
    sim::check(sd_bus_add_match(bus_.get(), nullptr, "type='signal'", &Watcher::onSignal, this),
               "watch all signals");
}

Answer Watcher::call(const string& service, const string& path, const string& interface,
                     const string& member, const string& signature, const Json& body,
                     std::chrono::milliseconds limit)
{
    sd_bus_message* raw = nullptr;
    sim::check(sd_bus_message_new_method_call(bus_.get(), &raw, service.c_str(), path.c_str(),
                                              interface.empty() ? nullptr : interface.c_str(),
                                              member.c_str()),
               "make a call");
    const sim::Message request(raw);
    sim::appendBody(raw, signature, body);
    sim::ErrorReply error;
    sd_bus_message* reply = nullptr;
    if (sd_bus_call(bus_.get(), raw, microseconds(limit), error.get(), &reply) < 0)
    {
        return {error.get()->name, "", Json()};
    }
    const sim::Message owned(reply);
    return {"", sd_bus_message_get_signature(reply, 1), readBody(reply)};
}

Answer Watcher::get(const string& service, const string& path, const string& interface,
                    const string& property)
{
    return call(service, path, sim::names::properties, "Get", "ss", {interface, property});
}

Answer Watcher::set(const string& service, const string& path, const string& interface,
                    const string& property, const sim::Value& value)
{
    return call(service, path, sim::names::properties, "Set", "ssv",
                {interface, property, sim::valueToJson(value)});
}

Answer Watcher::managedObjects(const string& service, const string& path)
{
    return call(service, path, sim::names::objectManager, "GetManagedObjects");
}

std::vector<SeenSignal> Watcher::waitFor(const string& member, std::size_t count,
                                         std::chrono::milliseconds limit)
{
    const auto wanted = [&](const SeenSignal& signal) { return signal.member == member; };
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::size_t found = 0;
    std::size_t looked = 0;
    while (true)
    {
        found += static_cast<std::size_t>(std::count_if(
            seen_.begin() + static_cast<std::ptrdiff_t>(looked), seen_.end(), wanted));
        looked = seen_.size();
        if (found >= count || std::chrono::steady_clock::now() >= deadline)
        {
            break;
        }
        if (sim::check(sd_bus_process(bus_.get(), nullptr), "process") == 0)
        {
            sim::check(sd_bus_wait(bus_.get(), microseconds(std::chrono::milliseconds(50))),
                       "wait");
        }
    }
    std::vector<SeenSignal> result;
    std::copy_if(seen_.begin(), seen_.end(), std::back_inserter(result), wanted);
    return result;
}

void Watcher::forget()
{
    seen_.clear();
}

string Watcher::ownerOf(const string& name)
{
    const Answer answer = call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                               "org.freedesktop.DBus", "GetNameOwner", "s", Json::array({name}));
    return answer.error.empty() ? answer.body[0].get<string>() : "";
}

bool Watcher::waitUntilFree(const string& name, std::chrono::milliseconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!ownerOf(name).empty())
    {
        if (std::chrono::steady_clock::now() >= deadline)
        {
            return false;
        }
    }
    return true;
}

int Watcher::onSignal(sd_bus_message* message, void* self, sd_bus_error*)
{
    static_cast<Watcher*>(self)->seen_.push_back(
        {sd_bus_message_get_path(message), sd_bus_message_get_interface(message),
         sd_bus_message_get_member(message), sd_bus_message_get_signature(message, 1),
         readBody(message)});
    return 0;
}
