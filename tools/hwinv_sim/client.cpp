#include "client.hpp"

#include "control.hpp"
#include "fault_text.hpp"
#include "sim/capture.hpp"
#include "sim/document.hpp"
#include "sim/names.hpp"
#include "sim/sdbus.hpp"
#include "sim/signature.hpp"
#include "sim/value_message.hpp"

#include <iostream>
#include <utility>

namespace hwinv_sim
{
namespace
{

using sim::Json;

sim::Connection connect(const std::string& address)
{
    return address.empty() ? sim::connectToSystem() : sim::connectTo(address);
}

/** Asks the remote control; gives the first value of its reply, if it has one. */
Json ask(const std::string& address, const char* method, const char* signature, const Json& body)
{
    const sim::Connection bus = connect(address);
    sd_bus_message* raw = nullptr;
    sim::check(sd_bus_message_new_method_call(bus.get(), &raw, controlName, controlPath,
                                              controlInterface, method),
               "make a request");
    const sim::Message request(raw);
    sim::appendBody(raw, signature, body);
    const sim::Message reply = sim::call(bus.get(), raw, method);
    const bool empty = sim::check(sd_bus_message_at_end(reply.get(), 1), "read a reply") > 0;
    return empty ? Json() : sim::readValue(reply.get()).data;
}

/** Runs a check of what a person typed; what it throws is said as the wrong use that it is. */
template <typename Check>
void checkTyped(const Check& check)
{
    try
    {
        check();
    }
    catch (const sim::ValueError& error)
    {
        throw sim::UsageError(error.what());
    }
}

void checkName(const std::string& argument, const std::string& text, int valid, const char* what)
{
    if (valid <= 0)
    {
        throw sim::UsageError(argument + ": '" + text + "' is not " + what);
    }
}

void checkPath(const std::string& path)
{
    checkName("PATH", path, sd_bus_object_path_is_valid(path.c_str()), "an object path");
}

void checkInterface(const std::string& interface)
{
    checkName("INTERFACE", interface, sd_bus_interface_name_is_valid(interface.c_str()),
              "an interface name");
}

void checkMember(const std::string& argument, const std::string& member, const char* what)
{
    checkName(argument, member, sd_bus_member_name_is_valid(member.c_str()), what);
}

Json parseArgument(const std::string& text, const std::string& name)
{
    try
    {
        return sim::parseDocument(text, name);
    }
    catch (const sim::CaptureError& error)
    {
        throw sim::UsageError(error.what());
    }
}

/** Plain text travels as JSON, which has to be Unicode. */
Json plainText(const std::string& text)
{
    try
    {
        Json json(text);
        json.dump();
        return json;
    }
    catch (const Json::exception&)
    {
        throw sim::UsageError("VALUE: not valid UTF-8");
    }
}

Json parseValue(const std::string& type, const std::string& text)
{
    if (!sim::isCompleteType(type))
    {
        throw sim::UsageError("TYPE: '" + type + "' is not one complete type");
    }
    const bool isText = type == "s" || type == "o" || type == "g";
    Json value = isText ? plainText(text) : parseArgument(text, "VALUE");
    checkTyped([&] { sim::checkValue(type, value, sim::Place("VALUE")); });
    return value;
}

/** The body's JSON has to be a list of values that fit the signature. */
void checkBody(const std::string& signature, const std::string& text)
{
    if (!sim::isSignature(signature))
    {
        throw sim::UsageError("SIGNATURE: '" + signature + "' is not a signature");
    }
    const auto types = sim::splitSignature(signature);
    const Json body = parseArgument(text, "BODY");
    if (!body.is_array() || body.size() != types.size())
    {
        throw sim::UsageError("BODY: expected a list of " + std::to_string(types.size()) +
                              " values for '" + signature + "'");
    }
    const sim::Place place("BODY");
    for (std::size_t i = 0; i < types.size(); ++i)
    {
        checkTyped([&] { sim::checkValue(types[i], body[i], place.element(i)); });
    }
}

/** The interfaces of `path` from either form that a text can have. */
Json interfacesIn(const std::string& path, const std::string& text, const std::string& name)
{
    const Json json = sim::parseDocument(text, name);
    if (!json.is_object() || !json.contains("type"))
    {
        try
        {
            return sim::interfacesToJson(sim::interfacesFromJson(json));
        }
        catch (const sim::ValueError& error)
        {
            throw sim::CaptureError(name, error.where(), error.reason());
        }
    }
    const sim::Objects objects = sim::parseCapture(text, name);
    const auto object = objects.find(path);
    if (object == objects.end())
    {
        throw sim::CaptureError(name, path, "no such object in this capture");
    }
    return sim::interfacesToJson(object->second);
}

void printAssociations(const Json& interfaces)
{
    const auto definitions = interfaces.find(sim::names::associationDefinitions);
    if (definitions == interfaces.end() || !definitions->contains(sim::names::associations))
    {
        return;
    }
    for (const Json& tuple : (*definitions)[sim::names::associations]["data"])
    {
        std::cout << "    " << tuple[0].get<std::string>() << " / " << tuple[1].get<std::string>()
                  << " -> " << tuple[2].get<std::string>() << "\n";
    }
}

} // namespace

Client::Client(std::string address) : address_(std::move(address)) {}

void Client::add(const std::string& service, const std::string& path, const std::string& text,
                 const std::string& name)
{
    checkPath(path);
    try
    {
        addInterfaces(service, path, interfacesIn(path, text, name));
    }
    catch (const sim::CaptureError& error)
    {
        throw sim::UsageError(error.what());
    }
}

void Client::addFromFile(const std::string& service, const std::string& path,
                         const std::string& file)
{
    checkPath(path);
    addInterfaces(service, path, interfacesIn(path, sim::readFile(file), file));
}

void Client::addInterfaces(const std::string& service, const std::string& path,
                           const sim::Json& interfaces) const
{
    ask(address_, "AddObject", "soa{sa{sv}}", {service, path, interfaces});
}

void Client::set(const std::string& service, const std::string& path, const std::string& interface,
                 const std::string& property, const std::string& type, const std::string& value)
{
    checkPath(path);
    checkInterface(interface);
    checkMember("PROPERTY", property, "a property name");
    const Json typed{{"type", type}, {"data", parseValue(type, value)}};
    const Json properties{{property, typed}};
    ask(address_, "ChangeProperties", "sosa{sv}", {service, path, interface, properties});
}

void Client::remove(const std::string& service, const std::string& path,
                    const std::vector<std::string>& interfaces)
{
    checkPath(path);
    for (const std::string& interface : interfaces)
    {
        checkInterface(interface);
    }
    ask(address_, "RemoveObject", "soas", {service, path, interfaces});
}

void Client::emitSignal(const std::string& service, const std::string& path,
                        const std::string& interface, const std::string& member,
                        const std::string& signature, const std::string& body)
{
    checkPath(path);
    checkInterface(interface);
    checkMember("MEMBER", member, "a signal name");
    checkBody(signature, body);
    const Json carried{{"type", "s"}, {"data", body}};
    ask(address_, "Emit", "sosssv", {service, path, interface, member, signature, carried});
}

void Client::start(const std::string& service)
{
    ask(address_, "Start", "s", Json::array({service}));
}

void Client::stop(const std::string& service)
{
    ask(address_, "Stop", "s", Json::array({service}));
}

void Client::addFault(const std::string& kind, const std::string& text)
{
    parseFault(kind, text); // refused here, in the words for what was typed
    ask(address_, "AddFault", "ss", {kind, text});
}

void Client::clearFaults()
{
    ask(address_, "ClearFaults", "", Json::array());
}

void Client::list()
{
    const Json services = ask(address_, "GetServices", "", Json::array());
    for (const auto& [service, running] : services.items())
    {
        std::cout << service << (running.get<bool>() ? " (running)\n" : " (stopped)\n");
        const Json objects = ask(address_, "GetObjects", "s", Json::array({service}));
        for (const auto& [path, interfaces] : objects.items())
        {
            std::cout << "  " << path << "\n";
            printAssociations(interfaces);
        }
    }
}

void Client::listSets(const std::string& service)
{
    for (const Json& set : ask(address_, "GetSets", "s", Json::array({service})))
    {
        std::cout << (set[4].get<bool>() ? "accepted " : "refused  ") << set[0].get<std::string>()
                  << " " << set[2].get<std::string>() << " " << set[3]["data"].dump() << "\n";
    }
}

} // namespace hwinv_sim
