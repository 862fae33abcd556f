#include "objects/kept_properties.hpp"

#include "engines/find_association.hpp"

#include <algorithm>
#include <utility>

namespace
{

/** The value as the kept type; logged. */
PropertyValue readAs(const Site& site, const char* separator, const std::string& name,
                     const PropertyValue& value, KeptType type)
{
    if (type == KeptType::string)
    {
        const auto& text = std::get<std::string>(value);
        LOG_AT(site, trace::info, "%s%s%s", name.c_str(), separator, text.c_str());
        return text;
    }
    const auto logged = [&](auto number)
    {
        LOG_AT(site, trace::info, "%s%s%d", name.c_str(), separator, number);
        return PropertyValue(number);
    };
    return type == KeptType::uint16 ? logged(std::get<std::uint16_t>(value))
                                    : logged(std::get<std::uint8_t>(value));
}

} // namespace

void storeAndAssociate(const Site& site, const InsertRule& rule, const std::string& path,
                       const PropertyMap& received, PropertyMap working)
{
    bool any = false;
    for (const auto& [name, value] : received)
    {
        const auto kept =
            std::find_if(rule.kept.begin(), rule.kept.end(),
                         [&](const KeptProperty& property) { return property.name == name; });
        if (kept == rule.kept.end())
        {
            continue;
        }
        working.insert_or_assign(name, readAs(site, rule.separator, name, value, kept->type));
        any = true;
    }
    if (!any)
    {
        return;
    }
    rule.objects.insertObject(path, std::move(working));
    FindAssociation(rule.sourceCode, rule.objectType, path);
}
