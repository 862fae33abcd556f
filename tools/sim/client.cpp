#include "sim/client.hpp"

#include "sim/capture.hpp"
#include "sim/names.hpp"
#include "sim/value_message.hpp"

#include <cerrno>

namespace sim
{

Message call(sd_bus* bus, const Method& method, const std::vector<std::string>& arguments)
{
    sd_bus_message* raw = nullptr;
    check(sd_bus_message_new_method_call(bus, &raw, method.service.c_str(), method.path.c_str(),
                                         method.interface.c_str(), method.member.c_str()),
          "make a call");
    const Message request(raw);
    for (const std::string& argument : arguments)
    {
        check(sd_bus_message_append_basic(raw, 's', argument.c_str()), "write a call");
    }
    return call(bus, raw, method.member + " of " + method.service);
}

std::string ownerOf(sd_bus* bus, const std::string& name)
{
    try
    {
        const Message owner = call(bus,
                                   {"org.freedesktop.DBus", "/org/freedesktop/DBus",
                                    "org.freedesktop.DBus", "GetNameOwner"},
                                   {name});
        return readValue(owner.get()).data.get<std::string>();
    }
    catch (const BusError& error)
    {
        if (error.code() == ENXIO) // what NameHasNoOwner becomes
        {
            return "";
        }
        throw;
    }
}

Objects managedObjects(sd_bus* bus, const std::string& service, const std::string& path)
{
    const Message reply = call(bus, {service, path, names::objectManager, "GetManagedObjects"});
    const Value value = readValue(reply.get());
    const Json capture{{"type", value.type}, {"data", Json::array({value.data})}};
    return parseCapture(capture.dump(), service + " " + path);
}

} // namespace sim
