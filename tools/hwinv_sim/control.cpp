#include "control.hpp"

#include "sim/names.hpp"
#include "sim/sdbus.hpp"
#include "sim/value_message.hpp"

#include <cerrno>
#include <map>

// One C callback serves all methods: it reads the whole body as JSON, finds the method in a table,
// and writes the JSON answer as the type that the table below promises to the bus.

namespace hwinv_sim
{
namespace
{

using sim::Json;

int onRequest(sd_bus_message* request, void* simulator, sd_bus_error* error);

const sd_bus_vtable vtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("AddObject", "soa{sa{sv}}", "", onRequest, 0),
    SD_BUS_METHOD("AddFault", "ss", "", onRequest, 0),
    SD_BUS_METHOD("ChangeProperties", "sosa{sv}", "", onRequest, 0),
    SD_BUS_METHOD("ClearFaults", "", "", onRequest, 0),
    SD_BUS_METHOD("Emit", "sosssv", "", onRequest, 0),
    SD_BUS_METHOD("GetObjects", "s", "a{oa{sa{sv}}}", onRequest, 0),
    SD_BUS_METHOD("GetServices", "", "a{sb}", onRequest, 0),
    SD_BUS_METHOD("GetSets", "s", "a(ossvb)", onRequest, 0),
    SD_BUS_METHOD("RemoveObject", "soas", "", onRequest, 0),
    SD_BUS_METHOD("Start", "s", "", onRequest, 0),
    SD_BUS_METHOD("Stop", "s", "", onRequest, 0),
    SD_BUS_VTABLE_END,
};

Json none()
{
    return Json::array();
}

Json addObject(Simulator& simulator, const Json& arguments)
{
    const std::string path = arguments[1];
    simulator.serviceFor(arguments[0], path).addObject(path, sim::interfacesFromJson(arguments[2]));
    return none();
}

Json addFault(Simulator& simulator, const Json& arguments)
{
    simulator.addFault(arguments[0], arguments[1]);
    return none();
}

Json changeProperties(Simulator& simulator, const Json& arguments)
{
    const std::string path = arguments[1];
    const std::string interface = arguments[2];
    // Reading them as the one interface of an object checks the names too.
    const auto interfaces = sim::interfacesFromJson(Json{{interface, arguments[3]}});
    simulator.serviceFor(arguments[0], path)
        .changeProperties(path, interface, interfaces.at(interface));
    return none();
}

Json clearFaults(Simulator& simulator, const Json&)
{
    simulator.clearFaults();
    return none();
}

/** The body travels as a variant that holds a text: its JSON. */
Json emitSignal(Simulator& simulator, const Json& arguments)
{
    const Json body = Json::parse(arguments[5]["data"].get<std::string>(), nullptr, false);
    sim::Signal signal{arguments[1], arguments[2], arguments[3], arguments[4], body};
    simulator.service(arguments[0]).emitSignal(signal);
    return none();
}

Json getObjects(Simulator& simulator, const Json& arguments)
{
    Json objects = Json::object();
    for (const auto& [path, interfaces] : simulator.service(arguments[0]).objects())
    {
        objects[path] = sim::interfacesToJson(interfaces);
    }
    return Json::array({objects});
}

Json getServices(Simulator& simulator, const Json&)
{
    Json services = Json::object();
    for (const std::string& name : Simulator::serviceNames())
    {
        services[name] = simulator.service(name).running();
    }
    return Json::array({services});
}

Json getSets(Simulator& simulator, const Json& arguments)
{
    Json sets = Json::array();
    for (const auto& set : simulator.service(arguments[0]).journal().sets())
    {
        sets.push_back(
            {set.path, set.interface, set.property, sim::valueToJson(set.value), set.accepted});
    }
    return Json::array({sets});
}

Json removeObject(Simulator& simulator, const Json& arguments)
{
    const std::string path = arguments[1];
    simulator.serviceFor(arguments[0], path).removeObject(path, arguments[2]);
    return none();
}

Json start(Simulator& simulator, const Json& arguments)
{
    simulator.service(arguments[0]).start();
    return none();
}

Json stop(Simulator& simulator, const Json& arguments)
{
    simulator.service(arguments[0]).stop();
    return none();
}

using Work = Json (*)(Simulator&, const Json&);

struct Method
{
    Work work;
    const char* replyType;
};

const std::map<std::string, Method>& methods()
{
    static const std::map<std::string, Method> table{
        {"AddObject", {addObject, ""}},
        {"AddFault", {addFault, ""}},
        {"ChangeProperties", {changeProperties, ""}},
        {"ClearFaults", {clearFaults, ""}},
        {"Emit", {emitSignal, ""}},
        {"GetObjects", {getObjects, "a{oa{sa{sv}}}"}},
        {"GetServices", {getServices, "a{sb}"}},
        {"GetSets", {getSets, "a(ossvb)"}},
        {"RemoveObject", {removeObject, ""}},
        {"Start", {start, ""}},
        {"Stop", {stop, ""}},
    };
    return table;
}

void carryOut(Simulator& simulator, sd_bus_message* request)
{
    Json arguments = Json::array();
    while (sim::check(sd_bus_message_at_end(request, 1), "read a request") == 0)
    {
        arguments.push_back(sim::readValue(request).data);
    }
    const Method& method = methods().at(sd_bus_message_get_member(request));
    const Json answer = method.work(simulator, arguments);
    sd_bus_message* raw = nullptr;
    sim::check(sd_bus_message_new_method_return(request, &raw), "make a reply");
    const sim::Message reply(raw);
    sim::appendBody(raw, method.replyType, answer);
    sim::check(sd_bus_send(nullptr, raw, nullptr), "send a reply");
}

int onRequest(sd_bus_message* request, void* simulator, sd_bus_error* error)
{
    try
    {
        carryOut(*static_cast<Simulator*>(simulator), request);
        return 1;
    }
    catch (const std::exception& failure)
    {
        return sd_bus_error_set(error, sim::names::failed, failure.what());
    }
}

} // namespace

void offerControl(sd_bus* bus, Simulator& simulator)
{
    sim::check(
        sd_bus_add_object_vtable(bus, nullptr, controlPath, controlInterface, vtable, &simulator),
        "offer the remote control");
    const int named = sd_bus_request_name(bus, controlName, 0);
    if (named == -EEXIST)
    {
        throw sim::Error("another simulator runs on this bus");
    }
    sim::check(named, std::string("take the name ") + controlName);
}

} // namespace hwinv_sim
