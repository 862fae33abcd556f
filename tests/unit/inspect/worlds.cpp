#include "worlds.hpp"

#include "base/names.hpp"
#include "inspect/explain.hpp"

#include <stdexcept>

namespace worlds
{
namespace
{

struct MakeValue
{
    sim::Value operator()(const std::vector<std::string>& list) const
    {
        return sim::Value::strings(list);
    }
    sim::Value operator()(const std::string& text) const
    {
        return sim::Value::string(text);
    }
    sim::Value operator()(std::uint16_t number) const
    {
        return sim::Value::uint16(number);
    }
    sim::Value operator()(std::uint32_t number) const
    {
        return sim::Value::uint32(number);
    }
    sim::Value operator()(std::int16_t number) const
    {
        return sim::Value::int16(number);
    }
    sim::Value operator()(std::uint8_t number) const
    {
        return sim::Value::byte(number);
    }
    sim::Value operator()(bool truth) const
    {
        return sim::Value::boolean(truth);
    }
    template <class Other>
    sim::Value operator()(const Other&) const
    {
        throw std::logic_error("no test makes such a value");
    }
};

} // namespace

const inspect::Machine& healthy()
{
    static const inspect::Machine machine =
        inspect::examine(inspect::readFolder(inventories / "two-socket-2u"));
    return machine;
}

const inspect::Machine& awkward()
{
    static const inspect::Machine machine =
        inspect::examine(inspect::readFolder(inventories / "awkward"));
    return machine;
}

std::string sentenceOf(const inspect::Machine& machine, const std::string& named)
{
    return inspect::explain(machine, inspect::resolve(machine, named)).sentence;
}

std::string reasonOf(const inspect::Machine& machine, const std::string& named)
{
    return inspect::explain(machine, inspect::resolve(machine, named)).reason;
}

inspect::World worldOf(const sim::InventoryCapture& made)
{
    inspect::World world;
    world.smbios = made.smbios;
    for (const auto& [path, interfaces] : made.kovd)
    {
        (path.starts_with(names::kovdBoardPath) ? world.board : world.chassis)
            .emplace(path, interfaces);
    }
    return world;
}

inspect::World written(inspect::World world)
{
    for (const auto& [path, list] : inspect::runEngine(world).lists)
    {
        sim::Associations tuples;
        for (const auto& [forward, reverse, endpoint] : list)
        {
            tuples.push_back({forward, reverse, endpoint});
        }
        auto& objects = world.board.contains(path) ? world.board : world.chassis;
        property(objects, path, names::associationsInterface, "Associations") =
            sim::Value::associations(tuples);
    }
    return world;
}

void setList(inspect::World& world, const std::string& path, const sim::Associations& list)
{
    property(world.board, path, names::associationsInterface, "Associations") =
        sim::Value::associations(list);
}

sim::Value& property(sim::Objects& objects, const std::string& path, std::string_view interface,
                     const char* name)
{
    return objects[path][std::string(interface)][name];
}

sim::Value toValue(const PropertyValue& value)
{
    return std::visit(MakeValue(), value);
}

sim::Properties toProperties(const PropertyMap& properties)
{
    sim::Properties made;
    for (const auto& [name, value] : properties)
    {
        made.emplace(name, toValue(value));
    }
    return made;
}

} // namespace worlds
