#include "inspect/world.hpp"

#include "base/names.hpp"
#include "sim/capture.hpp"
#include "sim/client.hpp"
#include "sim/names.hpp"

#include <utility>

namespace inspect
{
namespace
{

sim::Objects askFor(sd_bus* bus, const std::string& service, const std::string& path,
                    std::vector<Reply>* replies)
{
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    sim::Objects objects = sim::managedObjects(bus, service, path);
    const auto time = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
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
        world.smbios = askFor(bus, smbios, std::string(names::inventoryPath), replies);
    }
    if (hasKovd)
    {
        world.board = askFor(bus, kovd, std::string(names::kovdBoardPath), replies);
        world.chassis = askFor(bus, kovd, std::string(names::kovdChassisPath), replies);
    }
    return world;
}

bool hasOwner(sd_bus* bus, const std::string& name)
{
    return !sim::ownerOf(bus, name).empty();
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
        ReceivedProperties& mine = map[interface];
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
