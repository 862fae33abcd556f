#include "store/property_map.hpp"

#include <algorithm>
#include <utility>

namespace
{

/** The first entry that is not before the name. */
auto lowerBound(auto& entries, std::string_view name)
{
    return std::lower_bound(entries.begin(), entries.end(), name,
                            [](const PropertyMap::Entry& entry, std::string_view wanted)
                            { return std::string_view(entry.name) < wanted; });
}

} // namespace

PropertyMap::PropertyMap(std::initializer_list<Entry> entries)
{
    reserve(entries.size());
    for (const auto& [name, value] : entries)
    {
        insert_or_assign(name, value);
    }
}

const PropertyValue* PropertyMap::find(std::string_view name) const
{
    const auto at = lowerBound(entries_, name);
    return at != end() && at->name == name ? &at->value : nullptr;
}

void PropertyMap::insert_or_assign(PropertyName name, PropertyValue value)
{
    const auto at = lowerBound(entries_, name);
    if (at != entries_.end() && at->name == name)
    {
        at->value = std::move(value);
        return;
    }
    entries_.insert(at, {name, std::move(value)});
}
