#include "collisions.hpp"

#include "base/log.hpp"
#include "doubles/records.hpp"
#include "intake/workers.hpp"

namespace
{

using collisions::Act;
using collisions::Acts;
using collisions::Collision;
using machine::Event;
using machine::Kind;

/** The machine's objects of each kind that have a counterpart. */
constexpr int numbers = 3;
constexpr int caches = 4;

constexpr int mostRecords = 3;
constexpr int mostBefore = 5;

Act insertion(Kind kind, const std::string& path, const ReceivedProperties& properties, bool change)
{
    Act act;
    act.event.kind = kind;
    act.event.path = path;
    act.event.properties = properties;
    const std::string& interface = machine::interfaceOf(kind);
    act.record = change ? changedRecord(path, interface, properties)
                        : addedRecord(path, {{interface, properties}});
    return act;
}

Act removal(Kind kind, const std::string& path, bool smbios)
{
    Act act;
    act.event.type = smbios ? Event::Type::removal : Event::Type::kovdRemoval;
    act.event.kind = kind;
    act.event.path = path;
    if (!smbios)
    {
        act.event.interfaces.push_back(machine::interfaceOf(kind));
    }
    act.record = removedRecord(path, {machine::interfaceOf(kind)});
    return act;
}

} // namespace

void collisions::process(const Act& act)
{
    (act.smbios ? processSmbiosRecord : processKovdRecord)(UTIL_SITE, act.record);
}

orders::Script collisions::eventsOf(const Acts& acts)
{
    orders::Script events;
    for (const Act& act : acts)
    {
        events.push_back(act.event);
    }
    return events;
}

Collision collisions::Generator::next(bool withPass)
{
    processors_ = below(2) == 0;
    number_ = 1 + below(numbers);
    Collision collision;
    for (int count = below(mostBefore + 1); count > 0; --count)
    {
        collision.before.push_back(act(below(2) == 0));
    }
    for (const bool smbios : {true, false})
    {
        collision.threads.push_back(acts(smbios, 1 + below(mostRecords)));
    }
    if (withPass)
    {
        Act pass;
        pass.event.type = processors_ ? Event::Type::cpuPass : Event::Type::pciePass;
        collision.threads.push_back({pass});
    }
    return collision;
}

int collisions::Generator::below(int end)
{
    return std::uniform_int_distribution<>(0, end - 1)(random_);
}

Acts collisions::Generator::acts(bool smbios, int count)
{
    Acts acts;
    while (count-- > 0)
    {
        acts.push_back(act(smbios));
    }
    return acts;
}

Act collisions::Generator::act(bool smbios)
{
    const Kind of = kind(smbios);
    const int which = number(of);
    const std::string& path = machine::pathsOf(of)[static_cast<std::size_t>(which) - 1];
    const int choice = below(10);
    Act act;
    if (choice < 7)
    {
        ReceivedProperties properties = machine::wholeObject(of, which);
        if (choice == 0)
        {
            properties.merge(someProperties(of)); // what it lacks may come from elsewhere
        }
        act = insertion(of, path, properties, false);
    }
    else
    {
        act =
            choice == 7 ? insertion(of, path, someProperties(of), true) : removal(of, path, smbios);
    }
    act.smbios = smbios;
    return act;
}

Kind collisions::Generator::kind(bool smbios)
{
    if (processors_)
    {
        return !smbios ? Kind::kovdCpu : below(3) == 0 ? Kind::smbiosCpu : Kind::smbiosCache;
    }
    constexpr std::array platform = {Kind::kovdSlot, Kind::kovdSlot, Kind::kovdDevice,
                                     Kind::kovdChassis};
    return smbios ? Kind::smbiosSlot : platform[static_cast<std::size_t>(below(platform.size()))];
}

int collisions::Generator::number(Kind kind)
{
    if (kind == Kind::smbiosCache)
    {
        return 1 + below(caches);
    }
    return below(4) != 0 ? number_ : 1 + below(numbers);
}

/** One property of the kind, or two, with any value that it takes. */
ReceivedProperties collisions::Generator::someProperties(Kind kind)
{
    const auto& all = machine::propertiesOf(kind);
    ReceivedProperties properties;
    for (int count = 1 + below(2); count > 0; --count)
    {
        const auto& property = all[static_cast<std::size_t>(below(static_cast<int>(all.size())))];
        const int value = below(static_cast<int>(property.values.size()));
        properties[property.name] = property.values[static_cast<std::size_t>(value)];
    }
    return properties;
}
