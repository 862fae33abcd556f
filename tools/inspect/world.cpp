#include "inspect/world.hpp"

#include "base/names.hpp"
#include "sim/capture.hpp"
#include "sim/names.hpp"
#include "sim/sdbus.hpp"
#include "sim/value_message.hpp"

#include <cerrno>
#include <utility>

namespace inspect
{
namespace
{

sim::Message newCall(sd_bus* bus, const std::string& service, const std::string& path,
                     const char* interface, const char* member)
{
    sd_bus_message* raw = nullptr;
    sim::check(
        sd_bus_message_new_method_call(bus, &raw, service.c_str(), path.c_str(), interface, member),
        "make a call");
    return sim::Message(raw);
}

sim::Objects managedObjects(sd_bus* bus, const std::string& service, const std::string& path,
                            std::vector<Reply>* replies)
{
    using Clock = std::chrono::steady_clock;
    const sim::Message request =
        newCall(bus, service, path, sim::names::objectManager, "GetManagedObjects");
    const auto start = Clock::now();
    const sim::Message reply =
        sim::call(bus, request.get(), "GetManagedObjects of " + service + " at " + path);
    const auto time = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);

    const sim::Value value = sim::readValue(reply.get());
    const sim::Json capture{{"type", value.type}, {"data", sim::Json::array({value.data})}};
    sim::Objects objects = sim::parseCapture(capture.dump(), service);
    if (replies != nullptr)
    {
        replies->push_back({service, path, objects.size(), time});
    }
    return objects;
}

AssociationList toList(const sim::Json& data)
{
    AssociationList list;
    for (const sim::Json& tuple : data)
    {
        list.emplace_back(tuple.at(0).get<std::string>(), tuple.at(1).get<std::string>(),
                          tuple.at(2).get<std::string>());
    }
    return list;
}

template <class T>
PropertyValue as(const sim::Json& data)
{
    return data.get<T>();
}

struct Reader
{
    const char* type;
    PropertyValue (*read)(const sim::Json& data);
};

/** In the order of the variant's alternatives. */
constexpr Reader readers[] = {
    {"as", as<std::vector<std::string>>},
    {"s", as<std::string>},
    {"x", as<std::int64_t>},
    {"t", as<std::uint64_t>},
    {"d", as<double>},
    {"i", as<std::int32_t>},
    {"u", as<std::uint32_t>},
    {"n", as<std::int16_t>},
    {"q", as<std::uint16_t>},
    {"y", as<std::uint8_t>},
    {"b", as<bool>},
    {"ay", as<std::vector<std::uint8_t>>},
    {"a(sss)", [](const sim::Json& data) -> PropertyValue { return toList(data); }},
};
static_assert(std::size(readers) == std::variant_size_v<PropertyValue>);

std::string quoted(const std::string& text)
{
    return '"' + text + '"';
}

struct TextOf
{
    std::string operator()(const std::string& text) const
    {
        return quoted(text);
    }
    std::string operator()(bool value) const
    {
        return value ? "true" : "false";
    }
    template <class Number>
    requires std::is_arithmetic_v<Number> std::string operator()(Number number) const
    {
        return std::to_string(number);
    }
    template <class Element>
    std::string operator()(const std::vector<Element>& list) const
    {
        return "a list of " + std::to_string(list.size());
    }
};

} // namespace

World readFolder(const std::filesystem::path& folder)
{
    World world;
    world.smbios = sim::readCapture(folder / sim::names::smbiosFile);
    world.board = sim::readCapture(folder / sim::names::boardFile);
    world.chassis = sim::readCapture(folder / sim::names::chassisFile);
    world.source = folder.string();
    return world;
}

World readBus(sd_bus* bus, std::vector<Reply>* replies)
{
    World world;
    world.source = "the bus";
    world.live = true;
    const std::string smbios(names::smbiosService);
    const std::string kovd(names::kovdService);
    const bool hasSmbios = hasOwner(bus, smbios);
    const bool hasKovd = hasOwner(bus, kovd);
    if (!hasSmbios && !hasKovd)
    {
        throw sim::Error("neither " + smbios + " nor " + kovd + " is on this bus");
    }
    if (hasSmbios)
    {
        world.smbios = managedObjects(bus, smbios, std::string(names::inventoryPath), replies);
    }
    if (hasKovd)
    {
        world.board = managedObjects(bus, kovd, std::string(names::kovdBoardPath), replies);
        world.chassis = managedObjects(bus, kovd, std::string(names::kovdChassisPath), replies);
    }
    return world;
}

bool hasOwner(sd_bus* bus, const std::string& name)
{
    return !ownerOf(bus, name).empty();
}

std::string ownerOf(sd_bus* bus, const std::string& name)
{
    const sim::Message request = newCall(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                         "org.freedesktop.DBus", "GetNameOwner");
    sim::check(sd_bus_message_append_basic(request.get(), 's', name.c_str()), "write a call");
    try
    {
        const sim::Message reply = sim::call(bus, request.get(), "ask for the owner of " + name);
        return sim::readValue(reply.get()).data.get<std::string>();
    }
    catch (const sim::BusError& error)
    {
        if (error.code() == ENXIO) // what NameHasNoOwner becomes
        {
            return "";
        }
        throw;
    }
}

PropertyValue toPropertyValue(const sim::Value& value)
{
    for (const Reader& reader : readers)
    {
        if (value.type == reader.type)
        {
            return reader.read(value.data);
        }
    }
    return PropertyValue();
}

InterfaceMap toInterfaceMap(const sim::Interfaces& interfaces)
{
    InterfaceMap map;
    for (const auto& [interface, properties] : interfaces)
    {
        PropertyMap& mine = map[interface];
        for (const auto& [name, value] : properties)
        {
            mine.emplace(name, toPropertyValue(value));
        }
    }
    return map;
}

std::string toText(const PropertyValue& value)
{
    return std::visit(TextOf(), value);
}

std::string typeOf(const PropertyValue& value)
{
    return readers[value.index()].type;
}

AssociationList associationsOf(const sim::Interfaces& interfaces)
{
    const auto interface = interfaces.find(sim::names::associationDefinitions);
    if (interface == interfaces.end())
    {
        return {};
    }
    const auto property = interface->second.find(sim::names::associations);
    if (property == interface->second.end() || property->second.type != "a(sss)")
    {
        return {};
    }
    return toList(property->second.data);
}

const sim::Interfaces* findPlatformObject(const World& world, const std::string& path)
{
    for (const sim::Objects* objects : {&world.board, &world.chassis})
    {
        if (const auto at = objects->find(path); at != objects->end())
        {
            return &at->second;
        }
    }
    return nullptr;
}

std::string leafOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

} // namespace inspect
