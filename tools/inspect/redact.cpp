#include "inspect/redact.hpp"

#include "engines/fqdd.hpp"

#include <algorithm>
#include <string_view>

namespace inspect
{
namespace
{

constexpr std::string_view identifying[] = {"Serial", "AssetTag", "ServiceTag", "UUID"};

bool identifies(const std::string& name)
{
    return std::ranges::any_of(identifying,
                               [&](std::string_view word) { return containsNoCase(name, word); });
}

/** The same type without the content; false when there was none. */
bool blank(sim::Value& value)
{
    if (value.type == "s" && value.data != "")
    {
        value.data = "REDACTED";
        return true;
    }
    if ((value.type == "ay" || value.type == "as") && !value.data.empty())
    {
        value.data = sim::Json::array();
        return true;
    }
    return false;
}

std::size_t redact(sim::Objects& objects)
{
    std::size_t count = 0;
    for (auto& [path, interfaces] : objects)
    {
        for (auto& [interface, properties] : interfaces)
        {
            for (auto& [name, value] : properties)
            {
                count += identifies(name) && blank(value) ? 1 : 0;
            }
        }
    }
    return count;
}

} // namespace

std::size_t redact(World& world)
{
    return redact(world.smbios) + redact(world.board) + redact(world.chassis);
}

} // namespace inspect
