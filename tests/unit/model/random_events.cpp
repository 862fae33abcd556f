#include "random_events.hpp"

#include <algorithm>
#include <utility>

namespace
{

using machine::Event;
using machine::Kind;
using std::string;

/** The events of a sequence for each step of RapidCheck's size, which goes from 0 to 100. */
constexpr double eventsPerSize = 4;

rc::Gen<Kind> anyKind()
{
    return rc::gen::map(rc::gen::inRange(0, machine::kindCount),
                        [](int number) { return static_cast<Kind>(number); });
}

PropertyValue wrongType(int number)
{
    const PropertyValue values[] = {
        std::uint32_t{1}, std::int16_t{1}, std::vector<string>{}, std::uint64_t{1}, true, 1.0};
    return values[number];
}

/** A kept property with a value that it takes on this machine, or now and then of another type. */
std::pair<string, PropertyValue> anyProperty(Kind kind)
{
    const auto& property = *rc::gen::elementOf(machine::propertiesOf(kind));
    if (*rc::gen::inRange(0, 16) == 0)
    {
        return {property.name, wrongType(*rc::gen::inRange(0, 6))};
    }
    return {property.name, *rc::gen::elementOf(property.values)};
}

/** Properties that no insert of the kind keeps. */
void addForeign(Kind kind, ReceivedProperties& properties)
{
    properties["Associations"] = AssociationList{{"chassis", "processor", "/elsewhere"}};
    properties[kind == Kind::smbiosCpu ? "Handle" : "Socket"] = string{"foreign"};
}

ReceivedProperties anyProperties(Kind kind, int number)
{
    ReceivedProperties properties;
    const int shape = *rc::gen::inRange(0, 10);
    if (shape < 7)
    {
        properties = machine::wholeObject(kind, number);
    }
    const int changes = shape < 4 ? 0 : *rc::gen::inRange(shape < 7 ? 1 : 0, 4);
    for (int change = 0; change < changes; ++change)
    {
        const auto [name, value] = anyProperty(kind);
        properties[name] = value;
    }
    if (*rc::gen::inRange(0, 8) == 0)
    {
        addForeign(kind, properties);
    }
    return properties;
}

int indexOf(const std::vector<string>& paths, const string& path)
{
    return static_cast<int>(std::find(paths.begin(), paths.end(), path) - paths.begin());
}

Event anyInsert()
{
    Event event;
    event.kind = *anyKind();
    const auto& paths = machine::pathsOf(event.kind);
    event.path = *rc::gen::elementOf(paths);
    const int own = indexOf(paths, event.path) + 1;
    const int number = *rc::gen::inRange(0, 4) != 0 ? own : *rc::gen::inRange(1, 4);
    event.properties = anyProperties(event.kind, number);
    return event;
}

Event anyRemoval()
{
    Event event;
    event.type = Event::Type::removal;
    event.kind = *rc::gen::element(Kind::smbiosSlot, Kind::smbiosCpu, Kind::smbiosCache);
    event.path = *rc::gen::elementOf(machine::pathsOf(event.kind));
    return event;
}

Event anyKovdRemoval()
{
    Event event;
    event.type = Event::Type::kovdRemoval;
    event.kind = *anyKind();
    event.path = *rc::gen::elementOf(machine::pathsOf(event.kind));
    if (*rc::gen::inRange(0, 3) != 0)
    {
        event.interfaces.push_back(machine::interfaceOf(event.kind));
    }
    while (*rc::gen::inRange(0, 3) == 0)
    {
        event.interfaces.push_back(machine::interfaceOf(*anyKind()));
    }
    return event;
}

Event anyEvent()
{
    const int type = *rc::gen::inRange(0, 20);
    Event event;
    if (type < 13)
    {
        event = anyInsert();
    }
    else if (type < 16)
    {
        event = anyRemoval();
    }
    else if (type < 18)
    {
        event = anyKovdRemoval();
    }
    else
    {
        event.type = type == 18 ? Event::Type::pciePass : Event::Type::cpuPass;
    }
    if (*rc::gen::inRange(0, 8) == 0)
    {
        event.handOverResult = *rc::gen::element(-1, 22);
    }
    return event;
}

} // namespace

rc::Gen<std::vector<Event>> random_events::sequence()
{
    return rc::gen::scale(eventsPerSize,
                          rc::gen::container<std::vector<Event>>(rc::gen::exec(anyEvent)));
}
