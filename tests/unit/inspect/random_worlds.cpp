#include "random_worlds.hpp"

#include "base/names.hpp"
#include "worlds.hpp"

namespace worlds
{
namespace
{

sim::Objects& objectsFor(inspect::World& world, const std::string& path, machine::Kind kind)
{
    const bool smbios = kind == machine::Kind::smbiosSlot || kind == machine::Kind::smbiosCpu ||
                        kind == machine::Kind::smbiosCache;
    return smbios                                   ? world.smbios
           : path.starts_with(names::kovdBoardPath) ? world.board
                                                    : world.chassis;
}

} // namespace

inspect::World RandomWorlds::next()
{
    inspect::World world;
    for (int number = 0; number < machine::kindCount; ++number)
    {
        const auto kind = static_cast<machine::Kind>(number);
        for (std::size_t index = 0; index < machine::pathsOf(kind).size(); ++index)
        {
            if (below(8) != 0)
            {
                add(world, kind, index);
            }
        }
    }
    return world;
}

unsigned RandomWorlds::below(unsigned bound)
{
    return static_cast<unsigned>(random_() % bound); // the same on every standard library
}

PropertyValue RandomWorlds::wrongType()
{
    const PropertyValue values[] = {std::uint32_t{1}, std::int16_t{1}, std::vector<std::string>{},
                                    true};
    return values[below(4)];
}

ReceivedProperties RandomWorlds::propertiesFor(machine::Kind kind, std::size_t index)
{
    const int own = static_cast<int>(index) + 1;
    ReceivedProperties properties =
        machine::wholeObject(kind, below(4) != 0 ? own : 1 + static_cast<int>(below(3)));
    for (unsigned change = below(3); change > 0; --change)
    {
        const machine::Property& property = oneOf(machine::propertiesOf(kind));
        const bool wrong = types_ == Types::any && below(24) == 0;
        properties[property.name] = wrong ? wrongType() : oneOf(property.values);
    }
    if (below(8) == 0)
    {
        properties.erase(oneOf(machine::propertiesOf(kind)).name);
    }
    return properties;
}

void RandomWorlds::add(inspect::World& world, machine::Kind kind, std::size_t index)
{
    const std::string& path = machine::pathsOf(kind)[index];
    if (!path.starts_with("/") || path.ends_with("/"))
    {
        return; // no bus has such a path
    }
    sim::Properties& made = objectsFor(world, path, kind)[path][machine::interfaceOf(kind)];
    for (const auto& [name, value] : propertiesFor(kind, index))
    {
        made.emplace(name, toValue(value));
    }
}

} // namespace worlds
