#include "faults/message_faults.hpp"

#include "sim/names.hpp"

namespace faults
{

void MessageFaults::announce(const Kind& kind, const std::string& path,
                             const sim::Interfaces& interfaces)
{
    sim::Json body = sim::Json::object();
    for (const auto& [interface, properties] : interfaces)
    {
        sim::Json& content = body[interface] = sim::Json::object();
        for (const auto& [name, value] : properties)
        {
            content[name] = sim::valueToJson(value);
        }
    }
    serviceOf(kind).emitSignal({managerOf(kind),
                                sim::names::objectManager,
                                "InterfacesAdded",
                                "oa{sa{sv}}",
                                {path, body}});
}

void MessageFaults::announceWith(const Kind& kind, unsigned number, const std::string& property,
                                 const sim::Value& value)
{
    auto [path, interfaces] = kind.make(number);
    interfaces.begin()->second[property] = value;
    announce(kind, path, interfaces);
}

} // namespace faults
