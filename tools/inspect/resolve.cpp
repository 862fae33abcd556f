// Which object a person means.

#include "base/names.hpp"
#include "engines/fqdd.hpp"
#include "inspect/explain.hpp"
#include "sim/error.hpp"

#include <algorithm>

namespace inspect
{
namespace
{

/** All objects, those that a person asks for most first. */
std::vector<const sim::Objects*> inOrder(const World& world)
{
    return {&world.board, &world.smbios, &world.chassis};
}

bool isNumber(const std::string& text)
{
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

/** The objects of a kind one of whose properties is this number. */
std::vector<std::string> withNumber(const ObjectsOfKind& objects, std::string_view property,
                                    const std::string& number)
{
    std::vector<std::string> found;
    for (const auto& [path, properties] : objects)
    {
        const PropertyValue* value = properties.find(property);
        if (value != nullptr && toText(*value) == number)
        {
            found.push_back(path);
        }
    }
    return found;
}

std::string listed(const std::vector<std::string>& paths)
{
    std::string text;
    for (const std::string& path : paths)
    {
        text += "\n  " + path;
    }
    return text;
}

std::string resolveNumber(const Machine& machine, const std::string& number)
{
    const Outcome& outcome = machine.outcome;
    for (const auto& found :
         {withNumber(outcome.of(Kind::kovdSlot), names::pcieLocatorInstanceNum, number),
          withNumber(outcome.of(Kind::smbiosSlot), names::slotId, number)})
    {
        if (found.size() > 1)
        {
            throw sim::UsageError("slot " + number + " is one of these:" + listed(found));
        }
        if (found.size() == 1)
        {
            return found.front();
        }
    }
    throw sim::UsageError("no slot has the number " + number);
}

/** Paths that contain what was named. */
std::vector<std::string> near(const World& world, const std::string& named)
{
    constexpr std::size_t most = 5;
    std::vector<std::string> found;
    for (const sim::Objects* objects : inOrder(world))
    {
        for (const auto& [path, interfaces] : *objects)
        {
            if (found.size() < most && containsNoCase(path, named))
            {
                found.push_back(path);
            }
        }
    }
    return found;
}

} // namespace

std::string resolve(const Machine& machine, const std::string& named)
{
    if (isNumber(named))
    {
        return resolveNumber(machine, named);
    }
    for (const sim::Objects* objects : inOrder(machine.world))
    {
        if (objects->contains(named))
        {
            return named;
        }
        const auto end = std::ranges::find_if(*objects, [&](const auto& object)
                                              { return object.first.ends_with("/" + named); });
        if (end != objects->end() && !named.starts_with("/"))
        {
            return end->first;
        }
    }
    const auto others = near(machine.world, named);
    throw sim::UsageError("there is no object '" + named + "'" +
                          (others.empty() ? "" : "; there are:" + listed(others)));
}

} // namespace inspect
