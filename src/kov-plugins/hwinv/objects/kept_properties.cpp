#include "objects/kept_properties.hpp"

#include "engines/find_association.hpp"

#include <algorithm>
#include <utility>

namespace
{

/** The table's row for a property; null when it is not kept. */
const KeptProperty* findKept(std::span<const KeptProperty> table, std::string_view name)
{
    const auto kept =
        std::find_if(table.begin(), table.end(),
                     [&](const KeptProperty& property) { return property.name == name; });
    return kept == table.end() ? nullptr : &*kept;
}

/** The value as the kept type; logged. */
PropertyValue readAndLog(const Site& site, const char* separator, const std::string& name,
                         const PropertyValue& value, KeptType type)
{
    if (type == KeptType::string)
    {
        const auto& text = std::get<std::string>(value);
        LOG_AT(site, level::info, "%s%s%s", name.c_str(), separator, text.c_str());
        return text;
    }
    const auto logged = [&](auto number)
    {
        LOG_AT(site, level::info, "%s%s%d", name.c_str(), separator, number);
        return PropertyValue(number);
    };
    return type == KeptType::uint16 ? logged(std::get<std::uint16_t>(value))
                                    : logged(std::get<std::uint8_t>(value));
}

} // namespace

void storeAndAssociate(const Site& site, const InsertRule& rule, const std::string& path,
                       const ReceivedProperties& received, PropertyMap working)
{
    bool any = false;
    working.reserve(rule.kept.size());
    for (const auto& [name, value] : received)
    {
        const KeptProperty* kept = findKept(rule.kept, name);
        if (kept == nullptr)
        {
            continue;
        }
        working.insert_or_assign(kept->name,
                                 readAndLog(site, rule.separator, name, value, kept->type));
        any = true;
    }
    if (!any)
    {
        return;
    }
    const MatchKeys keys = rule.keysOf == nullptr ? MatchKeys{} : rule.keysOf(working);
    rule.objects.insertObject(path, std::move(working), keys);
    FindAssociation(rule.sourceCode, rule.objectType, path);
}
